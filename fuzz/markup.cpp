// The markup stripper of office and web documents: fed in any pieces it gives
// what it gives for the whole, and text escaped the way a document writer
// escapes it comes back exactly as it was.
#include "FuzzInput.h"

#include "indexing/DocumentText.h"

using namespace DocumentText;

namespace {

QString escaped(const QString &text)
{
    QString result;
    for (const QChar c : text) {
        if (c == u'&')
            result += QLatin1String("&amp;");
        else if (c == u'<')
            result += QLatin1String("&lt;");
        else if (c == u'>')
            result += QLatin1String("&gt;");
        else
            result += c;
    }
    return result;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzInput input(data, size);
    const MarkupTags tags = input.byte() % 2 ? MarkupTags::openDocument : MarkupTags::common;
    const int piece = 1 + input.byte() % 16;
    const QString markup = input.restAsText();

    const QString whole = stripMarkup(markup, tags);
    MarkupStripper stripper(tags);
    for (qsizetype at = 0; at < markup.size(); at += piece)
        stripper.feed(QStringView(markup).mid(at, piece));
    FUZZ_EXPECT(stripper.finish() == whole, markup);
    // Stripping only takes away, apart from the line and tab ends it writes.
    FUZZ_EXPECT(whole.size() <= markup.size() + markup.count(u'>'), markup);

    const QString paragraph = QLatin1String("<w:p><w:t>") + escaped(markup) + QLatin1String("</w:t></w:p>");
    FUZZ_EXPECT(stripMarkup(paragraph, tags) == markup + u'\n', markup + QLatin1String(" -> ") + stripMarkup(paragraph, tags));
    return 0;
}
