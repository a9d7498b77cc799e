// The text readers on real files, the worker process that runs them apart from
// indexing (`larder extract-worker`), and the passages cut from their text.
#include "indexing/DocumentText.h"
#include "indexing/ExtractionWorker.h"
#include "store/PassageChunker.h"

#include "support/DocumentFixtures.h"
#include "support/TestEnvironment.h"

#include <QBuffer>
#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <thread>

using namespace DocumentFixtures;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using Outcome = ExtractionWorker::Outcome;

namespace {

QString file(const QString &name)
{
    static const QString folder = TestEnvironment::makeFolder(u"documents"_s);
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

// The words are in the text, in this order.
void expectInOrder(const std::optional<QString> &text, const QStringList &words, const char *name)
{
    ASSERT_TRUE(text) << name;
    qsizetype from = 0;
    for (const QString &word : words) {
        from = text->indexOf(word, from);
        EXPECT_GE(from, 0) << name << ": " << word.toStdString() << " in " << text->toStdString();
    }
}

ExtractionWorker::Options options(const QString &faults = {}, std::chrono::milliseconds timeLimit = 30s)
{
    ExtractionWorker::Options options;
    options.program = QStringLiteral(LARDER_BINARY);
    options.timeLimit = timeLimit;
    if (!faults.isEmpty())
        options.environment << u"%1=%2"_s.arg(QLatin1String(ExtractionWorker::faultVariable), faults);
    return options;
}

FileRecord textFile(const QString &name, const QByteArray &contents)
{
    TestEnvironment::writeFile(file(name), contents);
    return recordOf(file(name));
}

void expectHealthy(ExtractionWorker &worker)
{
    EXPECT_EQ(worker.extract(textFile(u"next.txt"_s, "The next file still extracts.")).content.text, u"The next file still extracts."_s);
}

TEST(MarkupStripping, TagsBecomeLineEndsAndTabs)
{
    const auto odf = DocumentText::MarkupTags::openDocument;
    const struct { const char *markup, *text; DocumentText::MarkupTags tags = DocumentText::MarkupTags::common; } cases[] = {
        {"a&lt;b &amp;lt; &amp;amp; &&amp;", "a<b &lt; &amp; &&"},
        {"<tr><td>a</td><td>b</td></tr>", "a\tb\t\n"},
        {"x<BR>y<br/>z", "x\ny\nz"},
        {"<w:r><w:tab/><w:t>in</w:t></w:r>", "\tin"},
        {"&quot;q&quot; &apos;a&#39; b&nbsp;c &gt; d", "\"q\" 'a' b c > d"},
        {"<span class=\"x\">kept</span> <b>words</b>", "kept words"},
        {"<text:h>T</text:h><text:p>A<text:tab/>B</text:p><text:p>x<text:line-break/>y</text:p><p>html</p>", "T\nA\tB\nx\ny\nhtml\n", odf},
    };
    for (const auto &c : cases)
        EXPECT_EQ(DocumentText::stripMarkup(QString::fromUtf8(c.markup), c.tags), QString::fromUtf8(c.text)) << c.markup;
    // Markup fed in two pieces, cut anywhere, gives the same text.
    const QString markup = u"<p class=\"a\">Fish &amp; chips</p><td>1</td>"_s;
    for (qsizetype cut = 0; cut <= markup.size(); ++cut) {
        DocumentText::MarkupStripper stripper;
        stripper.feed(QStringView(markup).left(cut));
        stripper.feed(QStringView(markup).mid(cut));
        EXPECT_EQ(stripper.finish(), u"Fish & chips\n1\t"_s) << cut;
    }
}

TEST(DocumentText, EachReaderGivesTheTextOfItsFilesOrNothing)
{
    QByteArray lateZero(6000, 'b');
    lateZero[5000] = '\0';
    QByteArray noise;
    for (int i = 0; i < 20'000; ++i)
        noise += char(i * 7 % 256);
    const QStringList slides{u"First slide"_s, u"Second slide"_s, u"Third slide"_s};
    const auto iworkPreview = [](const QString &path) {
        QByteArray jpeg;
        QBuffer buffer(&jpeg);
        textImage({u"Garden party plans"_s}).save(&buffer, "JPG", 95);
        writeZip(path, {{u"Index/Document.iwa"_s, "binary"}, {u"preview.jpg"_s, jpeg}});
    };
    const auto none = std::optional<QString>();
    // The text exactly, or nothing at all; or, where words are given, these in this order.
    const struct {
        const char *name;
        std::function<void(const QString &)> write;
        std::optional<QString> text;
        QStringList words = {};
        FileKind kind = FileKind::document;
    } cases[] = {
        {"utf8.md", bytes(u"Café crème ✓"_s.toUtf8()), u"Café crème ✓"_s},
        {"latin1.txt", bytes("Caf\xe9 cr\xe8me"), u"Café crème"_s},
        {"page.htm", bytes("<html><body><h1>Notes</h1><p>Fish &amp; chips</p></body></html>"), u"Notes\nFish & chips\n\n"_s},
        {"late-zero.txt", bytes(lateZero), QString(lateZero.left(5000)) + QChar(0) + QString(999, u'b')},
        {"early-zero.txt", bytes(QByteArray(100, 'a') + '\0' + QByteArray(2900, 'a')), none},
        {"firmware.txt", bytes(noise), none},
        {"empty.txt", bytes({}), none},
        {"unknown.bin", bytes("plain words in an unknown type"), none},
        {"archive.cpp", bytes("int x;"), none, {}, FileKind::archive},
        {"missing.txt", [](const QString &) {}, none},
        {"letter.docx", [](const QString &p) { writeDocx(p, {u"Dear Sam,"_s, u"Fish & chips at 8."_s}); }, u"\nDear Sam,\n\nFish & chips at 8.\n"_s},
        {"budget.xlsx", [](const QString &p) { writeXlsx(p, {u"Rent"_s, u"Groceries"_s}); }, u"Rent\nGroceries\n"_s},
        {"minutes.odt", [](const QString &p) { writeOdt(p, {{u"Minutes"_s}, {u"Item"_s, u"Owner"_s}}); }, u"Minutes\nItem\tOwner\n"_s},
        // The fixture lists slide3.xml first: slides come in container order.
        {"deck.pptx", [&slides](const QString &p) { writePptx(p, slides); }, {}, {slides.at(2), slides.at(1), slides.at(0)}},
        {"latin.docx", [](const QString &p) { writeZip(p, {{u"word/document.xml"_s, "<w:t>caf\xe9</w:t>"}}); }, none},
        {"secret.pdf", [](const QString &p) { writeEncryptedPdf(p); }, QString()},
        {"header-only.pdf", bytes("%PDF-1.7\n"), none},
        {"note.rtf", bytes("{\\rtf1\\ansi{\\fonttbl\\f0\\fswiss Helvetica;}\\f0\\pard Pick up the \\b keys\\b0  tomorrow.\\par Next.\\par}"),
         {}, {u"Pick up the keys tomorrow."_s, u"Next."_s}},
        // Not a Word binary: antiword refuses it, catdoc reads it as text.
        {"notes.doc", bytes("Old notes saved as doc.\nSecond line.\n"), u"Old notes saved as doc.\nSecond line.\n"_s},
        {"Screenshot.png", [](const QString &p) { writeImage(p, textImage({u"Quarterly budget meeting"_s, u"Room seven at noon"_s})); },
         {}, {u"Quarterly budget meeting"_s, u"Room seven at noon"_s}, FileKind::image},
        // Wider than 3000 pixels: decoded at a smaller scale.
        {"whiteboard.jpg", [](const QString &p) { writeImage(p, textImage({u"SPRINT GOALS"_s, u"SHIP IT"_s}, QSize(4800, 1400), 150), 90); },
         {}, {u"SPRINT GOALS"_s}, FileKind::image},
        {"tiny.png", [](const QString &p) { writeImage(p, textImage({u"x"_s}, QSize(100, 100), 20)); }, none, {}, FileKind::image},
        {"plans.pages", iworkPreview, {}, {u"Garden party plans"_s}},
    };
    for (const auto &c : cases) {
        c.write(file(QString::fromUtf8(c.name)));
        const ExtractedText result = extract(QString::fromUtf8(c.name), c.kind);
        EXPECT_EQ(result.pages, std::nullopt) << c.name;
        if (c.words.isEmpty())
            EXPECT_EQ(result.text, c.text) << c.name;
        else
            expectInOrder(result.text, c.words, c.name);
    }
}

TEST(DocumentText, PdfsReadTheirTextLayerOrTheirScansWithThePageCount)
{
    QStringList hundred;
    for (int i = 1; i <= 100; ++i)
        hundred << u"This is page marker %1 of a long report on harbour traffic."_s.arg(i);
    writeTextPdf(file(u"report.pdf"_s), hundred);
    writeTextPdf(file(u"short-layer.pdf"_s), {u"Only thirty characters here.."_s});
    writeScannedPdf(file(u"scan.pdf"_s), {u"Invoice from Harbour Bakery\nTotal due forty pounds"_s, u"Delivery address\nMarket Street"_s,
                                          u"Thank you for your order"_s, u"Fourth page appendix"_s});
    const struct { const char *name; qint64 pages; QStringList words; QString absent = {}; const char *start = ""; } cases[] = {
        // A text layer leads with two line ends; sixty pages are read, all counted.
        {"report.pdf", 100, {u"page marker 1 of"_s, u"page marker 2 of"_s, u"page marker 60 of"_s}, u"page marker 61 of"_s, "\n\n"},
        // Fewer than 40 characters of text layer count as a scan: OCR reads the page.
        {"short-layer.pdf", 1, {u"thirty characters"_s}},
        // Scans are read by OCR on their first three pages.
        {"scan.pdf", 4, {u"Harbour Bakery"_s, u"Market Street"_s, u"Thank you"_s}, u"appendix"_s},
    };
    for (const auto &c : cases) {
        const ExtractedText result = extract(QString::fromUtf8(c.name));
        expectInOrder(result.text, c.words, c.name);
        EXPECT_EQ(result.pages, c.pages) << c.name;
        EXPECT_TRUE(result.text.value_or(QString()).startsWith(QString::fromUtf8(c.start))) << c.name;
        EXPECT_TRUE(c.absent.isEmpty() || !result.text.value_or(QString()).contains(c.absent)) << c.name;
    }
}

TEST(DocumentText, CapsKeepBigAndStrangeFilesCheap)
{
    // A two-byte character straddles the 400,000-byte cut: the cut alone
    // must not make the file read as Latin 1. 80,000 characters are kept.
    TestEnvironment::writeFile(file(u"long.log"_s), QByteArray(399'999, 'x') + u"é"_s.toUtf8() + QByteArray(100'000, 'y'));
    const auto head = DocumentText::readPlainText(file(u"long.log"_s));
    EXPECT_EQ(head.value_or(QString()), QString(399'999, u'x'));
    EXPECT_EQ(extract(u"long.log"_s).text.value_or(QString()).size(), DocumentText::maxCharacters);
    // 80 MB of words inflate from a few hundred kilobytes; the reader stops
    // once the text is settled.
    writeZipBomb(file(u"words.docx"_s), u"word/document.xml"_s, "<w:r><w:t>lorem ipsum </w:t></w:r>", 80'000'000);
    ASSERT_LT(QFileInfo(file(u"words.docx"_s)).size(), 1'000'000);
    const auto words = extract(u"words.docx"_s).text.value_or(QString());
    EXPECT_EQ(words.size(), DocumentText::maxCharacters);
    EXPECT_TRUE(words.startsWith(u"lorem ipsum lorem"_s));
    // Opening a pipe for reading would wait for a writer that never comes.
    for (const QString &name : {u"pipe.txt"_s, u"pipe.pdf"_s}) {
        ASSERT_EQ(::mkfifo(QFile::encodeName(file(name)).constData(), 0600), 0);
        EXPECT_EQ(extract(name), ExtractedText());
    }
    EXPECT_EQ(DocumentText::extractText(recordOf(u"/dev/zero"_s)), ExtractedText());
}

TEST(ExtractionWorker, OneProcessServesDocumentsPhotosAndFilesWithoutText)
{
    writeTextPdf(file(u"minutes.pdf"_s), {u"Minutes of the allotment committee, spring meeting."_s, u"Water butts are shared."_s});
    const FileRecord pdf = recordOf(file(u"minutes.pdf"_s));
    ExtractionWorker worker(options());
    const ExtractionWorker::Result result = worker.extract(pdf);
    EXPECT_EQ(result.outcome, Outcome::extracted);
    EXPECT_EQ(result.content, DocumentText::extractText(pdf));
    EXPECT_EQ(result.content.pages, 2);
    // JPEG comes through a Qt image plugin, which the worker must find; OCR
    // must fit in the worker's address space.
    writeImage(file(u"receipt.jpg"_s), textImage({u"Corner Shop receipt"_s}), 95);
    const auto photo = worker.extract(recordOf(file(u"receipt.jpg"_s), FileKind::image)).content.text;
    EXPECT_TRUE(photo && photo->contains(u"Corner Shop receipt"_s)) << photo.value_or(u"no text"_s).toStdString();
    // A file without text, and one deleted before its turn, are answered empty.
    const FileRecord gone = textFile(u"gone.txt"_s, "soon deleted");
    ASSERT_TRUE(QFile::remove(gone.path));
    for (const FileRecord &empty : {textFile(u"zero.txt"_s, QByteArray("a\0b", 3)), gone}) {
        const ExtractionWorker::Result none = worker.extract(empty);
        EXPECT_TRUE(none.outcome == Outcome::extracted && none.content == ExtractedText()) << empty.name.toStdString();
    }
    expectHealthy(worker);
    EXPECT_EQ(worker.startCount(), 1);
}

// A crash, stall or runaway reader restarts the worker; a cancelled wait ends
// at once and judges nothing.
TEST(ExtractionWorker, CrashStallRunawayOrCancelGivesNoTextAndTheWorkerGoesOn)
{
    const std::pair<const char *, Outcome> cases[] = {{"boom-report.txt", Outcome::crashed}, {"stall-notes.txt", Outcome::timedOut},
#if !defined(__SANITIZE_ADDRESS__) // sanitized builds run workers without the address-space cap
        {"greedy.txt", Outcome::crashed},
#endif
    };
    ExtractionWorker worker(options(u"crash:boom*;hang:stall*;memory:greedy*"_s, 1500ms));
    int starts = 1;
    for (const auto &[name, outcome] : cases) {
        const ExtractionWorker::Result bad = worker.extract(textFile(QString::fromUtf8(name), "words"));
        EXPECT_EQ(bad.outcome, outcome) << name;
        EXPECT_EQ(bad.content, ExtractedText()) << name;
        expectHealthy(worker);
        EXPECT_EQ(worker.startCount(), starts += 1) << name;
    }
    CancellationToken token;
    std::thread canceller([token] { std::this_thread::sleep_for(300ms), token.cancel(); });
    EXPECT_EQ(worker.extract(textFile(u"stall-cancelled.txt"_s, "words"), token).outcome, Outcome::cancelled);
    canceller.join();
    expectHealthy(worker);
}

TEST(PassageChunker, BreaksAtParagraphsSentencesAndWordsWithALittleOverlap)
{
    const auto sizes = [](const QString &text) {
        QList<qsizetype> sizes;
        for (const QString &piece : splitIntoPassages(text))
            sizes.append(piece.size());
        return sizes;
    };
    EXPECT_TRUE(splitIntoPassages("  \n\n \t ").isEmpty());
    // The smallest size still moves past a character of two code units.
    EXPECT_EQ(splitIntoPassages(u"😀😀 a"_s, 1, 0), (QStringList{u"😀"_s, u"😀"_s, u"a"_s}));
    EXPECT_EQ(sizes(QString(900, u'a')), QList<qsizetype>{900});
    EXPECT_EQ(splitIntoPassages("  one   two \n\n\n\nthree\n"), QStringList{"one two\n\nthree"});
    EXPECT_EQ(splitIntoPassages("\n\nstart"), QStringList{"start"});
    // No space anywhere: cut at exactly 900, and the next starts 120 back.
    EXPECT_EQ(sizes(QString(2000, u'x')), (QList<qsizetype>{900, 900, 2000 - 2 * 780}));
    // A paragraph break in the second half wins over a later sentence end;
    // a break in the first half doesn't count.
    const QString paragraphs = QString(600, u'a') + "\n\n" + QString(200, u'b') + ". " + QString(300, u'c');
    EXPECT_EQ(splitIntoPassages(paragraphs).first(), QString(600, u'a'));
    const QString sentences = QString(500, u'a') + ". " + QString(200, u'b') + " " + QString(400, u'c');
    EXPECT_EQ(splitIntoPassages(sentences).first(), QString(500, u'a') + u'.');
    EXPECT_EQ(sizes(QString(100, u'a') + ". " + QString(1000, u'b')).first(), 900);
    // Words of five letters: every passage begins at a word, overlaps the one
    // before by at most 120 characters, and together they cover the text.
    QStringList words;
    for (int i = 0; i < 1000; ++i)
        words.append(u"w%1"_s.arg(i, 4, 10, QChar(u'0')));
    const QString text = words.join(u' ');
    qsizetype end = 0;
    for (const QString &piece : splitIntoPassages(text)) {
        const qsizetype at = text.indexOf(piece, std::max<qsizetype>(0, end - 120));
        ASSERT_TRUE(at >= 0 && piece.size() <= 900) << piece.left(10).toStdString();
        EXPECT_TRUE(at == 0 || text.at(at - 1) == u' ') << "begins in the middle of a word at " << at;
        end = at + piece.size();
    }
    EXPECT_EQ(end, text.size());
}

} // namespace
