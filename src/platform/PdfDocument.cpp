#include "platform/PdfDocument.h"

#include <poppler-document.h>
#include <poppler-global.h>
#include <poppler-page-renderer.h>
#include <poppler-page.h>

#include <mutex>

namespace {

void silencePoppler()
{
    static std::once_flag once;
    std::call_once(once, [] {
        poppler::set_debug_error_function([](const std::string &, void *) {}, nullptr);
        // Poppler builds its global tables when the first document opens
        // and tears them down when the last one closes, which costs more
        // than reading a page count (about 2.5 ms a file). One empty document,
        // kept for the life of the process, keeps them.
        static const char emptyPDF[] = "%PDF-1.4\n1 0 obj<</Type/Catalog/Pages 2 0 R>>endobj\n"
                                       "2 0 obj<</Type/Pages/Kids[]/Count 0>>endobj\n"
                                       "trailer<</Root 1 0 R>>\n%%EOF\n";
        static std::unique_ptr<poppler::document> keeper(
            poppler::document::load_from_raw_data(emptyPDF, int(sizeof emptyPDF - 1)));
    });
}

QString fromUString(const poppler::ustring &text)
{
    const poppler::byte_array utf8 = text.to_utf8();
    return QString::fromUtf8(utf8.data(), qsizetype(utf8.size()));
}

} // namespace

PdfDocument::PdfDocument(const QString &path)
{
    silencePoppler();
    m_document.reset(poppler::document::load_from_file(path.toStdString()));
}

PdfDocument::~PdfDocument() = default;

bool PdfDocument::isLocked() const
{
    return m_document && m_document->is_locked();
}

int PdfDocument::pageCount() const
{
    // Poppler can't count the pages of a locked document (and crashes trying).
    return m_document && !m_document->is_locked() ? m_document->pages() : 0;
}

QString PdfDocument::pageText(int index) const
{
    if (index < 0 || index >= pageCount())
        return {};
    const std::unique_ptr<poppler::page> page(m_document->create_page(index));
    if (!page)
        return {};
    return fromUString(page->text(poppler::rectf(), poppler::page::non_raw_non_physical_layout));
}

QImage PdfDocument::renderPage(int index, int longestSide) const
{
    if (index < 0 || index >= pageCount())
        return {};
    const std::unique_ptr<poppler::page> page(m_document->create_page(index));
    if (!page)
        return {};
    const poppler::rectf box = page->page_rect(poppler::media_box);
    const double larger = std::max(box.width(), box.height());
    if (box.width() <= 0 || box.height() <= 0)
        return {};
    const double dpi = 72.0 * longestSide / larger;

    poppler::page_renderer renderer;
    renderer.set_paper_color(0xffffffff);
    renderer.set_render_hints(poppler::page_renderer::antialiasing | poppler::page_renderer::text_antialiasing);
    renderer.set_image_format(poppler::image::format_argb32);
    const poppler::image image = renderer.render_page(page.get(), dpi, dpi);
    if (!image.is_valid())
        return {};
    QImage rendered = QImage(reinterpret_cast<const uchar *>(image.const_data()), image.width(), image.height(),
                             image.bytes_per_row(), QImage::Format_ARGB32)
                          .convertToFormat(QImage::Format_RGB888);
    rendered.setDotsPerMeterX(qRound(dpi / 0.0254));
    rendered.setDotsPerMeterY(qRound(dpi / 0.0254));
    return rendered;
}
