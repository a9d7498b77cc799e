// The text readers on real files made in a temporary folder.
#include "indexing/DocumentText.h"

#include "support/DocumentFixtures.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>

#include <sys/stat.h>

using namespace DocumentFixtures;

namespace {

QString file(const QString &name)
{
    static const QString folder = TestEnvironment::makeFolder(QStringLiteral("documents"));
    return folder + u'/' + name;
}

ExtractedText extract(const QString &name, FileKind kind = FileKind::document)
{
    return DocumentText::extractText(recordOf(file(name), kind));
}

std::function<void(const QString &)> bytes(const QByteArray &contents)
{
    return [contents](const QString &path) { TestEnvironment::writeFile(path, contents); };
}

TEST(MarkupStripping, TagsBecomeLineEndsAndTabs)
{
    const auto odf = DocumentText::MarkupTags::openDocument;
    const struct
    {
        const char *markup;
        const char *text;
        DocumentText::MarkupTags tags = DocumentText::MarkupTags::common;
    } cases[] = {
        {"a&amp;lt;b", "a<b"},
        {"<p>One</p><p>Two</p>", "One\nTwo\n"},
        {"<tr><td>a</td><td>b</td></tr>", "a\tb\t\n"},
        {"x<BR>y<br/>z", "x\ny\nz"},
        {"<w:p><w:pPr/><w:r><w:t>Hi</w:t></w:r></w:p>", "Hi\n"},
        {"<w:r><w:tab/><w:t>in</w:t></w:r>", "\tin"},
        {"<ul><li>one</li><li>two</li></ul>", "one\ntwo\n"},
        {"<html><head><title>T</title></head><body><div>Body</div></body></html>", "T\nBody\n\n"},
        {"&quot;q&quot; &apos;a&#39; b&nbsp;c &gt; d", "\"q\" 'a' b c > d"},
        {"<span class=\"x\">kept</span> <b>words</b>", "kept words"},
        {"<text:p>odf</text:p>", "odf"},
        {"<text:h>Title</text:h><text:p>A<text:tab/>B</text:p><text:p>x<text:line-break/>y</text:p><p>html</p>",
         "Title\nA\tB\nx\ny\nhtml\n", odf},
    };
    for (const auto &c : cases)
        EXPECT_EQ(DocumentText::stripMarkup(QString::fromUtf8(c.markup), c.tags), QString::fromUtf8(c.text)) << c.markup;

    // Markup fed in two pieces, cut anywhere, gives the same text.
    const QString markup = QStringLiteral("<p class=\"a\">Fish &amp; chips</p><td>1</td>");
    for (qsizetype cut = 0; cut <= markup.size(); ++cut) {
        DocumentText::MarkupStripper stripper;
        stripper.feed(QStringView(markup).left(cut));
        stripper.feed(QStringView(markup).mid(cut));
        EXPECT_EQ(stripper.finish(), QStringLiteral("Fish & chips\n1\t")) << cut;
    }
}

TEST(DocumentText, EachReaderGivesTheTextOfItsFilesOrNothing)
{
    QByteArray lateZero(6000, 'b');
    lateZero[5000] = '\0';
    QByteArray noise;
    for (int i = 0; i < 20'000; ++i)
        noise += char(i * 7 % 256);
    const QStringList slides{QStringLiteral("First slide"), QStringLiteral("Second slide"), QStringLiteral("Third slide")};
    const auto iworkPreview = [](const QString &path) {
        writeImage(file(QStringLiteral("preview.jpg")), textImage({QStringLiteral("Garden party plans")}), 95);
        QFile preview(file(QStringLiteral("preview.jpg")));
        const QByteArray jpeg = preview.open(QIODevice::ReadOnly) ? preview.readAll() : QByteArray();
        if (path.endsWith(QStringLiteral(".key")))
            TestEnvironment::writeFile(path + QStringLiteral("/QuickLook/Thumbnail.jpg"), jpeg);
        else
            writeZip(path, {{QStringLiteral("Index/Document.iwa"), "binary"}, {QStringLiteral("preview.jpg"), jpeg}});
    };
    const auto none = std::optional<QString>();
    const struct
    {
        const char *name;
        std::function<void(const QString &)> write;
        std::optional<QString> text; // exactly, or nothing at all
        QStringList words = {}; // instead of an exact text: these, in this order
        FileKind kind = FileKind::document;
    } cases[] = {
        {"utf8.md", bytes(QStringLiteral("Café crème ✓").toUtf8()), QStringLiteral("Café crème ✓")},
        {"latin1.txt", bytes("Caf\xe9 cr\xe8me"), QStringLiteral("Café crème")},
        {"data.json", bytes("{\"key\": \"value\"}"), QStringLiteral("{\"key\": \"value\"}")},
        {"main.cpp", bytes("int main() { return 0; }"), QStringLiteral("int main() { return 0; }")},
        {"page.htm", bytes("<html><body><h1>Notes</h1><p>Fish &amp; chips</p></body></html>"), QStringLiteral("Notes\nFish & chips\n\n")},
        {"late-zero.txt", bytes(lateZero), QString(lateZero.left(5000)) + QChar(0) + QString(999, u'b')},
        {"early-zero.txt", bytes(QByteArray(100, 'a') + '\0' + QByteArray(2900, 'a')), none},
        {"firmware.txt", bytes(noise), none},
        {"empty.txt", bytes({}), none},
        {"unknown.bin", bytes("plain words in an unknown type"), none},
        {"archive.cpp", bytes("int x;"), none, {}, FileKind::archive},
        {"missing.txt", [](const QString &) {}, none},
        {"letter.docx", [](const QString &p) { writeDocx(p, {QStringLiteral("Dear Sam,"), QStringLiteral("Fish & chips at 8.")}); },
         QStringLiteral("\nDear Sam,\n\nFish & chips at 8.\n")},
        {"budget.xlsx", [](const QString &p) { writeXlsx(p, {QStringLiteral("Rent"), QStringLiteral("Groceries")}); }, QStringLiteral("Rent\nGroceries\n")},
        {"minutes.odt", [](const QString &p) { writeOdt(p, {{QStringLiteral("Minutes")}, {QStringLiteral("Item"), QStringLiteral("Owner")}}); },
         QStringLiteral("Minutes\nItem\tOwner\n")},
        // The fixture lists slide3.xml first: slides come in container order.
        {"deck.pptx", [&slides](const QString &p) { writePptx(p, slides); }, {}, {slides.at(2), slides.at(1), slides.at(0)}},
        {"hollow.docx", [](const QString &p) { writeZip(p, {{QStringLiteral("word/other.xml"), "<w:t>x</w:t>"}}); }, none},
        {"latin.docx", [](const QString &p) { writeZip(p, {{QStringLiteral("word/document.xml"), "<w:t>caf\xe9</w:t>"}}); }, none},
        {"fake.xlsx", bytes("not a zip at all"), none},
        {"tags.docx", [](const QString &p) { writeZipBomb(p, QStringLiteral("word/document.xml"), "<w:x/>", 80'000'000); },
         QString()},
        {"secret.pdf", [](const QString &p) { writeEncryptedPdf(p); }, QString()},
        {"garbage.pdf", bytes(QByteArray(5000, '\x7f')), none},
        {"header-only.pdf", bytes("%PDF-1.7\n"), none},
        {"note.rtf", bytes("{\\rtf1\\ansi{\\fonttbl\\f0\\fswiss Helvetica;}\\f0\\pard Pick up the \\b keys\\b0  tomorrow.\\par Second line.\\par}"),
         {}, {QStringLiteral("Pick up the keys tomorrow."), QStringLiteral("Second line.")}},
        // Not a Word binary: antiword refuses it, catdoc reads it as text.
        {"notes.doc", bytes("Old notes saved as doc.\nSecond line.\n"), QStringLiteral("Old notes saved as doc.\nSecond line.\n")},
        {"Screenshot.png", [](const QString &p) { writeImage(p, textImage({QStringLiteral("Quarterly budget meeting"), QStringLiteral("Room seven at noon")})); },
         {}, {QStringLiteral("Quarterly budget meeting"), QStringLiteral("Room seven at noon")}, FileKind::image},
        // Wider than 3000 pixels: decoded at a smaller scale.
        {"whiteboard.jpg", [](const QString &p) { writeImage(p, textImage({QStringLiteral("SPRINT GOALS"), QStringLiteral("SHIP IT")}, QSize(4800, 1400), 150), 90); },
         {}, {QStringLiteral("SPRINT GOALS")}, FileKind::image},
        {"tiny.png", [](const QString &p) { writeImage(p, textImage({QStringLiteral("x")}, QSize(100, 100), 20)); }, none, {}, FileKind::image},
        {"plans.pages", iworkPreview, {}, {QStringLiteral("Garden party plans")}},
        {"talk.key", iworkPreview, {}, {QStringLiteral("Garden party plans")}},
        {"empty.numbers", [](const QString &p) { QDir().mkpath(p); }, none},
    };
    for (const auto &c : cases) {
        const QString name = QString::fromUtf8(c.name);
        c.write(file(name));
        const ExtractedText result = extract(name, c.kind);
        EXPECT_EQ(result.pages, std::nullopt) << c.name;
        if (c.words.isEmpty()) {
            EXPECT_EQ(result.text, c.text) << c.name;
            continue;
        }
        ASSERT_TRUE(result.text) << c.name;
        qsizetype from = 0;
        for (const QString &word : c.words) {
            from = result.text->indexOf(word, from);
            EXPECT_GE(from, 0) << c.name << ": " << word.toStdString() << " in " << result.text->toStdString();
        }
    }
}

TEST(DocumentText, HeicPhotosAreRead)
{
    if (!writeHeic(file(QStringLiteral("sign.heic")), textImage({QStringLiteral("Platform closed"), QStringLiteral("Use the north exit")})))
        GTEST_SKIP() << "no HEVC encoder";
    const auto text = extract(QStringLiteral("sign.heic"), FileKind::image).text;
    ASSERT_TRUE(text);
    EXPECT_TRUE(text->contains(QStringLiteral("north exit"))) << text->toStdString();
}

TEST(DocumentText, PdfsReadTheirTextLayerOrTheirScansWithThePageCount)
{
    QStringList hundred;
    for (int i = 1; i <= 100; ++i)
        hundred << QStringLiteral("This is page marker %1 of a long report on harbour traffic.").arg(i);
    writeTextPdf(file(QStringLiteral("report.pdf")), hundred);
    writeTextPdf(file(QStringLiteral("short-layer.pdf")), {QStringLiteral("Only thirty characters here..")});
    writeScannedPdf(file(QStringLiteral("scan.pdf")),
                    {QStringLiteral("Invoice from Harbour Bakery\nTotal due forty pounds"), QStringLiteral("Delivery address\nMarket Street"),
                     QStringLiteral("Thank you for your order"), QStringLiteral("Fourth page appendix")});
    const struct
    {
        const char *name;
        qint64 pages;
        QStringList words;
        QStringList absent = {};
        const char *start = "";
    } cases[] = {
        // A text layer leads with two line ends; sixty pages are read, all counted.
        {"report.pdf", 100, {QStringLiteral("page marker 1 of"), QStringLiteral("page marker 2 of"), QStringLiteral("page marker 60 of")},
         {QStringLiteral("page marker 61 of")}, "\n\n"},
        // Fewer than 40 characters of text layer count as a scan: OCR reads the page.
        {"short-layer.pdf", 1, {QStringLiteral("thirty characters")}},
        // Scans are read by OCR on their first three pages.
        {"scan.pdf", 4, {QStringLiteral("Harbour Bakery"), QStringLiteral("Market Street"), QStringLiteral("Thank you")}, {QStringLiteral("appendix")}},
    };
    for (const auto &c : cases) {
        const ExtractedText result = extract(QString::fromUtf8(c.name));
        ASSERT_TRUE(result.text) << c.name;
        EXPECT_EQ(result.pages, c.pages) << c.name;
        EXPECT_TRUE(result.text->startsWith(QString::fromUtf8(c.start))) << c.name;
        qsizetype from = 0;
        for (const QString &word : c.words) {
            from = result.text->indexOf(word, from);
            EXPECT_GE(from, 0) << c.name << ": " << word.toStdString() << " in " << result.text->toStdString();
        }
        for (const QString &word : c.absent)
            EXPECT_FALSE(result.text->contains(word)) << c.name << ": " << word.toStdString();
    }
}

TEST(DocumentText, CapsKeepBigAndStrangeFilesCheap)
{
    // A two-byte character straddles the 400,000-byte cut: the cut alone
    // must not make the file read as Latin 1. 80,000 characters are kept.
    TestEnvironment::writeFile(file(QStringLiteral("long.log")),
                               QByteArray(399'999, 'x') + QStringLiteral("é").toUtf8() + QByteArray(100'000, 'y'));
    const auto head = DocumentText::readPlainText(file(QStringLiteral("long.log")));
    ASSERT_TRUE(head);
    EXPECT_EQ(head->size(), 399'999);
    EXPECT_FALSE(head->contains(QChar(0xC3)));
    EXPECT_EQ(extract(QStringLiteral("long.log")).text->size(), DocumentText::maxCharacters);

    // 80 MB of words inflate from a few hundred kilobytes; the reader stops
    // once the text is settled.
    writeZipBomb(file(QStringLiteral("words.docx")), QStringLiteral("word/document.xml"), "<w:r><w:t>lorem ipsum </w:t></w:r>", 80'000'000);
    ASSERT_LT(QFileInfo(file(QStringLiteral("words.docx"))).size(), 1'000'000);
    const auto words = extract(QStringLiteral("words.docx")).text;
    ASSERT_TRUE(words);
    EXPECT_EQ(words->size(), DocumentText::maxCharacters);
    EXPECT_TRUE(words->startsWith(QStringLiteral("lorem ipsum lorem")));

    // An image file at the size cap is not opened.
    writeImage(file(QStringLiteral("strip.png")), textImage({QStringLiteral("ok")}, QSize(120, 60), 20));
    FileRecord strip = recordOf(file(QStringLiteral("strip.png")), FileKind::image);
    EXPECT_TRUE(DocumentText::extractText(strip).text);
    strip.size = DocumentText::maxImageFileBytes;
    EXPECT_FALSE(DocumentText::extractText(strip).text);

    // Opening a pipe for reading would wait for a writer that never comes.
    for (const QString &name : {QStringLiteral("pipe.txt"), QStringLiteral("pipe.pdf")}) {
        ASSERT_EQ(::mkfifo(QFile::encodeName(file(name)).constData(), 0600), 0);
        EXPECT_EQ(extract(name), ExtractedText());
    }
    EXPECT_EQ(DocumentText::extractText(recordOf(QStringLiteral("/dev/zero"))), ExtractedText());
}

} // namespace
