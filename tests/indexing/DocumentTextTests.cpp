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

ExtractedText extract(const QString &path, FileKind kind = FileKind::document)
{
    return DocumentText::extractText(recordOf(path, kind));
}

QString folder()
{
    static const QString path = TestEnvironment::makeFolder(QStringLiteral("documents"));
    return path;
}

QString file(const QString &name)
{
    return folder() + u'/' + name;
}

} // namespace

// ---- markup ----

TEST(MarkupStripping, TagsBecomeLineEndsAndTabs)
{
    struct Case
    {
        const char *markup;
        const char *text;
    };
    const Case cases[] = {
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
    };
    for (const Case &c : cases)
        EXPECT_EQ(DocumentText::stripMarkup(QString::fromUtf8(c.markup)), QString::fromUtf8(c.text)) << c.markup;
}

TEST(MarkupStripping, OpenDocumentTagsEndParagraphsAndWriteTabs)
{
    const QString markup = QStringLiteral("<text:h>Title</text:h><text:p>A<text:tab/>B</text:p>"
                                          "<text:p>x<text:line-break/>y</text:p><p>html</p>");
    EXPECT_EQ(DocumentText::stripMarkup(markup, DocumentText::MarkupTags::openDocument),
              QStringLiteral("Title\nA\tB\nx\ny\nhtml\n"));
}

TEST(MarkupStripping, PiecesFedApartGiveTheSameText)
{
    const QString markup = QStringLiteral("<p class=\"a\">Fish &amp; chips</p><td>1</td>");
    for (qsizetype cut = 0; cut <= markup.size(); ++cut) {
        DocumentText::MarkupStripper stripper;
        stripper.feed(QStringView(markup).left(cut));
        stripper.feed(QStringView(markup).mid(cut));
        EXPECT_EQ(stripper.finish(), QStringLiteral("Fish & chips\n1\t")) << cut;
    }
}

// ---- plain text ----

TEST(PlainText, BinaryTestLooksAtTheFirst4096Bytes)
{
    QByteArray early(3000, 'a');
    early[100] = '\0';
    QByteArray late(6000, 'b');
    late[5000] = '\0';
    TestEnvironment::writeFile(file(QStringLiteral("early.txt")), early);
    TestEnvironment::writeFile(file(QStringLiteral("late.txt")), late);

    EXPECT_FALSE(extract(file(QStringLiteral("early.txt"))).text);
    const auto text = extract(file(QStringLiteral("late.txt"))).text;
    ASSERT_TRUE(text);
    EXPECT_EQ(text->size(), 6000);
}

TEST(PlainText, UTF8ElseLatin1)
{
    TestEnvironment::writeFile(file(QStringLiteral("utf8.md")), QStringLiteral("Café crème ✓").toUtf8());
    TestEnvironment::writeFile(file(QStringLiteral("latin1.txt")), QByteArray("Caf\xe9 cr\xe8me"));
    EXPECT_EQ(extract(file(QStringLiteral("utf8.md"))).text, QStringLiteral("Café crème ✓"));
    EXPECT_EQ(extract(file(QStringLiteral("latin1.txt"))).text, QStringLiteral("Café crème"));
}

TEST(PlainText, LongFilesAreReadTo400000BytesAndKeep80000Characters)
{
    // A two-byte character straddles the 400,000-byte cut: the cut alone
    // must not make the file read as Latin 1.
    QByteArray bytes(399'999, 'x');
    bytes += QStringLiteral("é").toUtf8();
    bytes += QByteArray(100'000, 'y');
    TestEnvironment::writeFile(file(QStringLiteral("long.log")), bytes);

    const auto head = DocumentText::readPlainText(file(QStringLiteral("long.log")));
    ASSERT_TRUE(head);
    EXPECT_EQ(head->size(), 399'999);
    EXPECT_FALSE(head->contains(QChar(0xC3)));
    const auto text = extract(file(QStringLiteral("long.log"))).text;
    ASSERT_TRUE(text);
    EXPECT_EQ(text->size(), DocumentText::maxCharacters);
}

TEST(PlainText, TypesDecideWhetherAFileIsRead)
{
    TestEnvironment::writeFile(file(QStringLiteral("data.json")), "{\"key\": \"value\"}");
    TestEnvironment::writeFile(file(QStringLiteral("main.cpp")), "int main() { return 0; }");
    TestEnvironment::writeFile(file(QStringLiteral("empty.txt")), "");
    TestEnvironment::writeFile(file(QStringLiteral("blob.bin")), "plain words in an unknown type");
    TestEnvironment::writeFile(file(QStringLiteral("page.htm")),
                               "<html><body><h1>Notes</h1><p>Fish &amp; chips</p></body></html>");

    EXPECT_EQ(extract(file(QStringLiteral("data.json"))).text, QStringLiteral("{\"key\": \"value\"}"));
    EXPECT_EQ(extract(file(QStringLiteral("main.cpp"))).text, QStringLiteral("int main() { return 0; }"));
    EXPECT_FALSE(extract(file(QStringLiteral("empty.txt"))).text);
    EXPECT_FALSE(extract(file(QStringLiteral("blob.bin"))).text);
    EXPECT_FALSE(extract(file(QStringLiteral("main.cpp")), FileKind::archive).text);
    EXPECT_FALSE(extract(file(QStringLiteral("missing.txt"))).text);
    EXPECT_EQ(extract(file(QStringLiteral("page.htm"))).text, QStringLiteral("Notes\nFish & chips\n\n"));
}

TEST(PlainText, ABinaryFileNamedTxtGivesNothing)
{
    QByteArray bytes;
    for (int i = 0; i < 20'000; ++i)
        bytes += char(i * 7 % 256);
    TestEnvironment::writeFile(file(QStringLiteral("firmware.txt")), bytes);
    EXPECT_EQ(extract(file(QStringLiteral("firmware.txt"))), ExtractedText());
}

TEST(PlainText, PipesAndDevicesAreNotRead)
{
    for (const QString &name : {QStringLiteral("pipe.txt"), QStringLiteral("pipe.pdf")})
        ASSERT_EQ(::mkfifo(QFile::encodeName(file(name)).constData(), 0600), 0);
    // Opening a pipe for reading would wait for a writer that never comes.
    EXPECT_EQ(extract(file(QStringLiteral("pipe.txt"))), ExtractedText());
    EXPECT_EQ(extract(file(QStringLiteral("pipe.pdf"))), ExtractedText());
    EXPECT_EQ(extract(QStringLiteral("/dev/zero")), ExtractedText());
}

// ---- PDF ----

TEST(PdfText, TextLayerPagesInOrderWithThePageCount)
{
    writeTextPdf(file(QStringLiteral("lease.pdf")),
                 {QStringLiteral("Residential lease agreement between the landlord and the tenant."),
                  QStringLiteral("Rent is due on the first day of every month.")});
    const ExtractedText result = extract(file(QStringLiteral("lease.pdf")));
    ASSERT_TRUE(result.text);
    EXPECT_TRUE(result.text->startsWith(QStringLiteral("\n\n"))) << result.text->toStdString();
    const qsizetype lease = result.text->indexOf(QStringLiteral("Residential lease agreement"));
    const qsizetype rent = result.text->indexOf(QStringLiteral("Rent is due on the first day"));
    EXPECT_GE(lease, 0);
    EXPECT_GT(rent, lease) << result.text->toStdString();
    EXPECT_EQ(result.pages, 2);
}

TEST(PdfText, AHundredPagesReadSixtyAndCountAHundred)
{
    QStringList pages;
    for (int i = 1; i <= 100; ++i)
        pages << QStringLiteral("This is page marker %1 of a long report on harbour traffic.").arg(i);
    writeTextPdf(file(QStringLiteral("report.pdf")), pages);

    const ExtractedText result = extract(file(QStringLiteral("report.pdf")));
    ASSERT_TRUE(result.text);
    EXPECT_TRUE(result.text->contains(QStringLiteral("page marker 60 of")));
    EXPECT_FALSE(result.text->contains(QStringLiteral("page marker 61 of")));
    EXPECT_EQ(result.pages, 100);
}

TEST(PdfText, ScansAreReadByOcrOnTheirFirstThreePages)
{
    writeScannedPdf(file(QStringLiteral("scan.pdf")),
                    {QStringLiteral("Invoice from Harbour Bakery\nTotal due forty pounds"),
                     QStringLiteral("Delivery address\nMarket Street"), QStringLiteral("Thank you for your order"),
                     QStringLiteral("Fourth page appendix")});
    const ExtractedText result = extract(file(QStringLiteral("scan.pdf")));
    ASSERT_TRUE(result.text);
    EXPECT_TRUE(result.text->contains(QStringLiteral("Harbour Bakery"))) << result.text->toStdString();
    EXPECT_TRUE(result.text->contains(QStringLiteral("Market Street")));
    EXPECT_TRUE(result.text->contains(QStringLiteral("Thank you")));
    EXPECT_FALSE(result.text->contains(QStringLiteral("appendix")));
    EXPECT_EQ(result.pages, 4);
}

TEST(PdfText, AShortTextLayerCountsAsAScan)
{
    // Fewer than 40 characters of text layer, with a picture of the real text.
    const QString path = file(QStringLiteral("short.pdf"));
    writeScannedPdf(path, {QStringLiteral("Signed contract for the boat")});
    const ExtractedText scanned = extract(path);
    ASSERT_TRUE(scanned.text);
    EXPECT_TRUE(scanned.text->contains(QStringLiteral("contract"))) << scanned.text->toStdString();

    writeTextPdf(path, {QStringLiteral("Only thirty characters here..")});
    const ExtractedText shortLayer = extract(path);
    ASSERT_TRUE(shortLayer.text);
    // The OCR of the rendered page reads the same words back.
    EXPECT_TRUE(shortLayer.text->contains(QStringLiteral("thirty characters"))) << shortLayer.text->toStdString();
}

TEST(PdfText, EncryptedPdfGivesAnEmptyText)
{
    writeEncryptedPdf(file(QStringLiteral("secret.pdf")));
    const ExtractedText result = extract(file(QStringLiteral("secret.pdf")));
    EXPECT_EQ(result.text, QString());
}

TEST(PdfText, BrokenAndTruncatedPdfsGiveNothingOrWhatTheyStillHold)
{
    QStringList pages;
    for (int i = 1; i <= 6; ++i)
        pages << QStringLiteral("Chapter %1 of the ferry timetable, with departures every hour.").arg(i);
    writeTextPdf(file(QStringLiteral("whole.pdf")), pages);
    QFile whole(file(QStringLiteral("whole.pdf")));
    ASSERT_TRUE(whole.open(QIODevice::ReadOnly));
    const QByteArray bytes = whole.readAll();
    TestEnvironment::writeFile(file(QStringLiteral("truncated.pdf")), bytes.left(bytes.size() / 2));
    TestEnvironment::writeFile(file(QStringLiteral("garbage.pdf")), QByteArray(5000, '\x7f'));
    TestEnvironment::writeFile(file(QStringLiteral("header-only.pdf")), "%PDF-1.7\n");

    const ExtractedText truncated = extract(file(QStringLiteral("truncated.pdf")));
    if (truncated.text) {
        EXPECT_FALSE(truncated.text->contains(QStringLiteral("Chapter 6")));
    }
    EXPECT_FALSE(extract(file(QStringLiteral("garbage.pdf"))).text);
    EXPECT_FALSE(extract(file(QStringLiteral("header-only.pdf"))).text);
}

// ---- office containers ----

TEST(OfficeText, WordExcelAndOpenDocumentMembers)
{
    writeDocx(file(QStringLiteral("letter.docx")), {QStringLiteral("Dear Sam,"), QStringLiteral("Fish & chips at 8.")});
    writeXlsx(file(QStringLiteral("budget.xlsx")), {QStringLiteral("Rent"), QStringLiteral("Groceries")});
    writeOdt(file(QStringLiteral("minutes.odt")),
             {{QStringLiteral("Minutes")}, {QStringLiteral("Item"), QStringLiteral("Owner")}});

    EXPECT_EQ(extract(file(QStringLiteral("letter.docx"))).text, QStringLiteral("\nDear Sam,\n\nFish & chips at 8.\n"));
    EXPECT_EQ(extract(file(QStringLiteral("budget.xlsx"))).text, QStringLiteral("Rent\nGroceries\n"));
    EXPECT_EQ(extract(file(QStringLiteral("minutes.odt"))).text, QStringLiteral("Minutes\nItem\tOwner\n"));
    EXPECT_EQ(extract(file(QStringLiteral("letter.docx"))).pages, std::nullopt);
}

TEST(OfficeText, SlidesComeInContainerOrder)
{
    writePptx(file(QStringLiteral("deck.pptx")),
              {QStringLiteral("First slide"), QStringLiteral("Second slide"), QStringLiteral("Third slide")});
    // The fixture lists slide3.xml first, so the container order is 3, 2, 1.
    const auto text = extract(file(QStringLiteral("deck.pptx"))).text;
    ASSERT_TRUE(text);
    EXPECT_EQ(text->split(u'\n', Qt::SkipEmptyParts),
              QStringList({QStringLiteral("Third slide"), QStringLiteral("Second slide"), QStringLiteral("First slide")}));
}

TEST(OfficeText, MissingMembersAndBadContainersGiveNothing)
{
    writeZip(file(QStringLiteral("hollow.docx")), {{QStringLiteral("word/other.xml"), "<w:t>x</w:t>"}});
    writeZip(file(QStringLiteral("latin.docx")), {{QStringLiteral("word/document.xml"), "<w:t>caf\xe9</w:t>"}});
    TestEnvironment::writeFile(file(QStringLiteral("fake.xlsx")), "not a zip at all");
    EXPECT_FALSE(extract(file(QStringLiteral("hollow.docx"))).text);
    EXPECT_FALSE(extract(file(QStringLiteral("latin.docx"))).text);
    EXPECT_FALSE(extract(file(QStringLiteral("fake.xlsx"))).text);
}

TEST(OfficeText, ZipBombsAreCapped)
{
    // 80 MB of words inflate from a few hundred kilobytes; the reader stops
    // once the text is settled.
    writeZipBomb(file(QStringLiteral("words.docx")), QStringLiteral("word/document.xml"),
                 "<w:r><w:t>lorem ipsum </w:t></w:r>", 80'000'000);
    // 80 MB of tags with no text at all: the reader stops at its byte cap.
    writeZipBomb(file(QStringLiteral("tags.docx")), QStringLiteral("word/document.xml"), "<w:x/>", 80'000'000);
    ASSERT_LT(QFileInfo(file(QStringLiteral("tags.docx"))).size(), 1'000'000);

    const auto words = extract(file(QStringLiteral("words.docx"))).text;
    ASSERT_TRUE(words);
    EXPECT_EQ(words->size(), DocumentText::maxCharacters);
    EXPECT_TRUE(words->startsWith(QStringLiteral("lorem ipsum lorem")));
    EXPECT_EQ(extract(file(QStringLiteral("tags.docx"))).text, QString());
}

// ---- images ----

TEST(ImageText, ScreenshotWordsAreReadBack)
{
    writeImage(file(QStringLiteral("Screenshot from 2026-03-01.png")),
               textImage({QStringLiteral("Quarterly budget meeting"), QStringLiteral("Room seven at noon")}));
    const ExtractedText result = extract(file(QStringLiteral("Screenshot from 2026-03-01.png")), FileKind::image);
    ASSERT_TRUE(result.text);
    EXPECT_TRUE(result.text->contains(QStringLiteral("Quarterly budget meeting"))) << result.text->toStdString();
    EXPECT_TRUE(result.text->contains(QStringLiteral("Room seven at noon")));
    EXPECT_EQ(result.pages, std::nullopt);
}

TEST(ImageText, LargePhotosAreReadScaledDown)
{
    // A JPEG wider than 3000 pixels is decoded at a smaller scale and read at
    // the fast level.
    writeImage(file(QStringLiteral("whiteboard.jpg")),
               textImage({QStringLiteral("SPRINT GOALS"), QStringLiteral("SHIP THE ROADMAP")}, QSize(4800, 1400), 150),
               90);
    const auto text = extract(file(QStringLiteral("whiteboard.jpg")), FileKind::image).text;
    ASSERT_TRUE(text);
    EXPECT_TRUE(text->contains(QStringLiteral("SPRINT GOALS"))) << text->toStdString();
}

TEST(ImageText, SizeLimits)
{
    writeImage(file(QStringLiteral("tiny.png")), textImage({QStringLiteral("x")}, QSize(100, 100), 20));
    writeImage(file(QStringLiteral("strip.png")), textImage({QStringLiteral("ok")}, QSize(120, 60), 20));
    EXPECT_FALSE(extract(file(QStringLiteral("tiny.png")), FileKind::image).text);
    EXPECT_TRUE(extract(file(QStringLiteral("strip.png")), FileKind::image).text);

    FileRecord huge = recordOf(file(QStringLiteral("strip.png")), FileKind::image);
    huge.size = DocumentText::maxImageFileBytes;
    EXPECT_FALSE(DocumentText::extractText(huge).text);
}

TEST(ImageText, AHugeImageIsNotDecodedWhole)
{
    // 20,000 by 20,000 pixels: 1.6 GB as a decoded picture, a small file.
    QImage image(20'000, 20'000, QImage::Format_Mono);
    image.fill(1);
    writeImage(file(QStringLiteral("poster.png")), image);
    image = QImage();
    EXPECT_FALSE(extract(file(QStringLiteral("poster.png")), FileKind::image).text);
}

TEST(ImageText, HeicPhotosAreRead)
{
    if (!writeHeic(file(QStringLiteral("sign.heic")),
                   textImage({QStringLiteral("Platform closed"), QStringLiteral("Use the north exit")})))
        GTEST_SKIP() << "no HEVC encoder";
    const auto text = extract(file(QStringLiteral("sign.heic")), FileKind::image).text;
    ASSERT_TRUE(text);
    EXPECT_TRUE(text->contains(QStringLiteral("north exit"))) << text->toStdString();
}

TEST(ImageText, IWorkPreviewsInFilesAndPackages)
{
    QByteArray jpeg;
    {
        const QString preview = file(QStringLiteral("preview-source.jpg"));
        writeImage(preview, textImage({QStringLiteral("Garden party plans")}), 95);
        QFile source(preview);
        ASSERT_TRUE(source.open(QIODevice::ReadOnly));
        jpeg = source.readAll();
    }
    writeZip(file(QStringLiteral("plans.pages")), {{QStringLiteral("Index/Document.iwa"), "binary"},
                                                   {QStringLiteral("preview.jpg"), jpeg}});
    TestEnvironment::writeFile(file(QStringLiteral("talk.key/QuickLook/Thumbnail.jpg")), jpeg);
    QDir().mkpath(file(QStringLiteral("empty.numbers")));

    for (const QString &name : {QStringLiteral("plans.pages"), QStringLiteral("talk.key")}) {
        const auto text = extract(file(name)).text;
        ASSERT_TRUE(text) << name.toStdString();
        EXPECT_TRUE(text->contains(QStringLiteral("Garden party plans"))) << text->toStdString();
    }
    EXPECT_FALSE(extract(file(QStringLiteral("empty.numbers"))).text);
}

// ---- helper programs ----

TEST(RichText, ReadThroughTheHelperWithoutItsHeader)
{
    TestEnvironment::writeFile(file(QStringLiteral("note.rtf")),
                               "{\\rtf1\\ansi{\\fonttbl\\f0\\fswiss Helvetica;}\\f0\\pard Pick up the "
                               "\\b keys\\b0  tomorrow.\\par Second line.\\par}");
    const auto text = extract(file(QStringLiteral("note.rtf"))).text;
    ASSERT_TRUE(text);
    EXPECT_TRUE(text->startsWith(QStringLiteral("Pick up the keys tomorrow."))) << text->toStdString();
    EXPECT_TRUE(text->contains(QStringLiteral("Second line.")));
    EXPECT_FALSE(text->contains(QStringLiteral("###")));
}

TEST(RichText, DocFilesFallBackFromAntiwordToCatdoc)
{
    // Not a Word binary: antiword refuses it, catdoc reads it as text.
    TestEnvironment::writeFile(file(QStringLiteral("notes.doc")), "Old notes saved as doc.\nSecond line.\n");
    EXPECT_EQ(extract(file(QStringLiteral("notes.doc"))).text, QStringLiteral("Old notes saved as doc.\nSecond line.\n"));
}
