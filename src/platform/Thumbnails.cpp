#include "platform/Thumbnails.h"

#include "platform/ImageLoader.h"
#include "platform/PdfDocument.h"
#include "platform/VideoFrame.h"

#include <QCache>
#include <QCryptographicHash>
#include <QFileInfo>
#include <QHash>
#include <QMimeDatabase>
#include <QMutex>
#include <QStandardPaths>

#include <glib.h>
#include <png.h>

#include <csetjmp>
#include <cstring>
#include <vector>

namespace {

struct SizeFolder
{
    const char *name;
    int pixels;
};

// The desktop cache's sizes, smallest first.
constexpr SizeFolder sizeFolders[] = {{"normal", 128}, {"large", 256}, {"x-large", 512}, {"xx-large", 1024}};

QMutex memoryLock;
QCache<QString, QImage> &memory()
{
    static QCache<QString, QImage> cache(Thumbnails::memoryLimit);
    return cache;
}

std::optional<qint64> modificationSeconds(const QString &path)
{
    const QFileInfo info(path);
    if (!info.exists())
        return std::nullopt;
    return info.lastModified().toSecsSinceEpoch();
}

// The largest text chunk of a cached thumbnail read: the desktop stores a
// URI, a time and a few numbers there.
constexpr png_alloc_size_t maxTextChunk = 64 * 1024;
// A cached thumbnail's file is small; a larger one is not read at all.
constexpr qint64 maxThumbnailBytes = 16 * 1024 * 1024;

struct PngBytes
{
    const QByteArray &bytes;
    qsizetype at = 0;
};

void readPngBytes(png_structp png, png_bytep into, size_t count)
{
    auto *source = static_cast<PngBytes *>(png_get_io_ptr(png));
    if (qsizetype(count) > source->bytes.size() - source->at)
        png_error(png, "the thumbnail ends early");
    std::memcpy(into, source->bytes.constData() + source->at, count);
    source->at += qsizetype(count);
}

void ignorePngWarning(png_structp, png_const_charp) {}
void failPng(png_structp png, png_const_charp) { png_longjmp(png, 1); }

// libpng reports a failure by a long jump back to here, so the step passed
// in owns nothing that would need a destructor.
template<typename Step>
bool guarded(png_structp png, Step step)
{
    if (setjmp(png_jmpbuf(png)))
        return false;
    step();
    return true;
}

class PngReader
{
public:
    explicit PngReader(const QByteArray &bytes)
        : m_source{bytes}
    {
        m_png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, failPng, ignorePngWarning);
        if (m_png)
            m_info = png_create_info_struct(m_png);
        if (!m_info)
            return;
        png_set_read_fn(m_png, &m_source, readPngBytes);
        // A chunk that claims more than a thumbnail's text is refused before
        // anything is allocated for it: otherwise libpng allocates and clears
        // what a corrupt length claims, up to 2 GB, before it finds the file
        // shorter. Qt's reader turns that check into a warning, which is why
        // the cache is not read with it.
        png_set_benign_errors(m_png, 0);
        png_set_chunk_malloc_max(m_png, maxTextChunk);
        // A damaged chunk makes the thumbnail damaged, text chunks included.
        png_set_crc_action(m_png, PNG_CRC_DEFAULT, PNG_CRC_ERROR_QUIT);
    }
    ~PngReader() { png_destroy_read_struct(&m_png, m_info ? &m_info : nullptr, nullptr); }
    PngReader(const PngReader &) = delete;
    PngReader &operator=(const PngReader &) = delete;

    // The header and every chunk before the pixels, the text among them.
    bool readHeader()
    {
        png_structp png = m_png;
        png_infop info = m_info;
        return m_info && guarded(png, [png, info] { png_read_info(png, info); });
    }
    QSize size() const { return QSize(int(png_get_image_width(m_png, m_info)), int(png_get_image_height(m_png, m_info))); }

    // The text chunks read so far, keys as written (colons and all).
    QHash<QString, QString> text() const
    {
        png_textp entries = nullptr;
        int count = 0;
        png_get_text(m_png, m_info, &entries, &count);
        QHash<QString, QString> text;
        for (int i = 0; i < count; ++i) {
            const QString key = QString::fromLatin1(entries[i].key);
            text.insert(key, entries[i].compression >= PNG_ITXT_COMPRESSION_NONE
                                 ? QString::fromUtf8(entries[i].text, qsizetype(entries[i].itxt_length))
                                 : QString::fromLatin1(entries[i].text, qsizetype(entries[i].text_length)));
        }
        return text;
    }

    // The pixels, as 8-bit BGRA words of a QImage: any bit depth, palette,
    // grey and interlacing converted by libpng.
    QImage readPixels()
    {
        png_structp png = m_png;
        png_infop info = m_info;
        bool alpha = false;
        const bool prepared = guarded(png, [png, info, &alpha] {
            png_set_expand(png);
            png_set_strip_16(png);
            png_set_gray_to_rgb(png);
            png_set_interlace_handling(png);
            alpha = (png_get_color_type(png, info) & PNG_COLOR_MASK_ALPHA) || png_get_valid(png, info, PNG_INFO_tRNS);
#if Q_BYTE_ORDER == Q_LITTLE_ENDIAN
            png_set_bgr(png);
            png_set_filler(png, 0xff, PNG_FILLER_AFTER);
#else
            png_set_swap_alpha(png);
            png_set_filler(png, 0xff, PNG_FILLER_BEFORE);
#endif
            png_read_update_info(png, info);
        });
        const QSize pixels = size();
        if (!prepared || png_get_rowbytes(m_png, m_info) != size_t(pixels.width()) * 4)
            return {};
        QImage image(pixels, alpha ? QImage::Format_ARGB32 : QImage::Format_RGB32);
        if (image.isNull())
            return {};
        std::vector<png_bytep> rows(size_t(pixels.height()));
        for (int y = 0; y < pixels.height(); ++y)
            rows[size_t(y)] = image.scanLine(y);
        png_bytepp rowPointers = rows.data();
        if (!guarded(png, [png, rowPointers] { png_read_image(png, rowPointers); }))
            return {};
        return image;
    }

private:
    PngBytes m_source;
    png_structp m_png = nullptr;
    png_infop m_info = nullptr;
};

// A cached thumbnail counts when it names the file's modification time and
// fits its size folder. Both are read from the chunks ahead of the pixels,
// where the desktop writes them, so a stale, oversized or corrupt thumbnail
// is refused without its pixels being decoded; what follows the pixels is
// never read.
QImage validThumbnail(const QString &thumbnailPath, int folderPixels, qint64 mtime)
{
    QFile file(thumbnailPath);
    if (!file.open(QIODevice::ReadOnly) || file.size() > maxThumbnailBytes)
        return {};
    const QByteArray bytes = file.readAll();
    PngReader reader(bytes);
    if (!reader.readHeader())
        return {};
    const QSize size = reader.size();
    if (size.isEmpty() || size.width() > folderPixels || size.height() > folderPixels)
        return {};
    const QHash<QString, QString> text = reader.text();
    bool numeric = false;
    const qint64 stamp = text.value(QStringLiteral("Thumb::MTime")).toLongLong(&numeric);
    if (!numeric || stamp != mtime)
        return {};
    QImage image = reader.readPixels();
    if (image.isNull())
        return {};
    for (auto it = text.cbegin(); it != text.cend(); ++it)
        image.setText(it.key(), it.value());
    return image;
}

bool isPdf(const QString &path)
{
    static const QMimeDatabase mimes;
    return mimes.mimeTypeForFile(path).inherits(QStringLiteral("application/pdf"));
}

} // namespace

namespace Thumbnails {

QString fileURI(const QString &path)
{
    const QByteArray local = QFile::encodeName(path);
    gchar *uri = g_filename_to_uri(local.constData(), nullptr, nullptr);
    if (!uri)
        return {};
    const QString text = QString::fromUtf8(uri);
    g_free(uri);
    return text;
}

QString cachePath(const QString &path, const QString &sizeFolder)
{
    const QByteArray md5 = QCryptographicHash::hash(fileURI(path).toUtf8(), QCryptographicHash::Md5).toHex();
    return QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation) + QStringLiteral("/thumbnails/")
        + sizeFolder + u'/' + QString::fromLatin1(md5) + QStringLiteral(".png");
}

QImage cached(const QString &path, int size)
{
    const auto mtime = modificationSeconds(path);
    if (!mtime)
        return {};
    // The smallest folder whose thumbnails are big enough, then the larger
    // ones, then the smaller ones as a last resort.
    QList<const SizeFolder *> order;
    for (const SizeFolder &folder : sizeFolders) {
        if (folder.pixels >= size)
            order.append(&folder);
    }
    for (auto it = std::rbegin(sizeFolders); it != std::rend(sizeFolders); ++it) {
        if (it->pixels < size)
            order.append(&*it);
    }
    for (const SizeFolder *folder : order) {
        const QImage image = validThumbnail(cachePath(path, QString::fromLatin1(folder->name)), folder->pixels, *mtime);
        if (!image.isNull())
            return image;
    }
    return {};
}

QImage make(const QString &path, FileKind kind, int size)
{
    switch (kind) {
    case FileKind::image:
        return ImageLoader::bounded(path, size);
    case FileKind::video:
        return VideoFrame::thumbnail(path, size);
    case FileKind::document:
        if (isPdf(path)) {
            const PdfDocument pdf(path);
            if (pdf.isOpen() && pdf.pageCount() > 0)
                return pdf.renderPage(0, size);
        }
        return {};
    default:
        return {};
    }
}

QImage thumbnail(const QString &path, FileKind kind, int size)
{
    const auto mtime = modificationSeconds(path);
    if (!mtime)
        return {};
    const QString key = path + u'\n' + QString::number(*mtime) + u'\n' + QString::number(size);
    {
        QMutexLocker locker(&memoryLock);
        if (const QImage *image = memory().object(key))
            return *image;
    }
    QImage image = cached(path, size);
    if (image.isNull())
        image = make(path, kind, size);
    if (image.isNull())
        return {};
    if (std::max(image.width(), image.height()) > size)
        image = image.scaled(size, size, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    QMutexLocker locker(&memoryLock);
    memory().insert(key, new QImage(image));
    return image;
}

int memoryCount()
{
    QMutexLocker locker(&memoryLock);
    return int(memory().count());
}

void clearMemory()
{
    QMutexLocker locker(&memoryLock);
    memory().clear();
}

} // namespace Thumbnails
