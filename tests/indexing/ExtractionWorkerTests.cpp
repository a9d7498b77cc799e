// The extraction worker process: files extracted through `larder
// extract-worker`, and the limits that keep a bad file from hurting indexing.
#include "indexing/ExtractionWorker.h"

#include "support/DocumentFixtures.h"
#include "support/TestEnvironment.h"

#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>

#include <thread>

using namespace std::chrono_literals;
using Outcome = ExtractionWorker::Outcome;

namespace {

ExtractionWorker::Options options(const QString &faults = {}, std::chrono::milliseconds timeLimit = 30s)
{
    ExtractionWorker::Options options;
    options.program = QStringLiteral(LARDER_BINARY);
    options.timeLimit = timeLimit;
    if (!faults.isEmpty())
        options.environment << QStringLiteral("%1=%2").arg(QLatin1String(ExtractionWorker::faultVariable), faults);
    return options;
}

QString folder()
{
    static const QString path = TestEnvironment::makeFolder(QStringLiteral("worker"));
    return path;
}

FileRecord textFile(const QString &name, const QByteArray &contents)
{
    const QString path = folder() + u'/' + name;
    TestEnvironment::writeFile(path, contents);
    return DocumentFixtures::recordOf(path);
}

void expectHealthy(ExtractionWorker &worker)
{
    const FileRecord next = textFile(QStringLiteral("next.txt"), "The next file still extracts.");
    const ExtractionWorker::Result result = worker.extract(next);
    EXPECT_EQ(result.outcome, Outcome::extracted);
    EXPECT_EQ(result.content.text, QStringLiteral("The next file still extracts."));
}

} // namespace

TEST(ExtractionWorker, ExtractsInAProcessThatServesManyFiles)
{
    const QString path = folder() + QStringLiteral("/minutes.pdf");
    DocumentFixtures::writeTextPdf(path, {QStringLiteral("Minutes of the allotment committee, spring meeting."),
                                          QStringLiteral("Water butts are to be shared.")});
    const FileRecord pdf = DocumentFixtures::recordOf(path);

    ExtractionWorker worker(options());
    const ExtractionWorker::Result result = worker.extract(pdf);
    EXPECT_EQ(result.outcome, Outcome::extracted);
    EXPECT_EQ(result.content, DocumentText::extractText(pdf));
    EXPECT_EQ(result.content.pages, 2);

    // A file without text, and one deleted before its turn, are answered empty.
    const FileRecord gone = textFile(QStringLiteral("gone.txt"), "soon deleted");
    ASSERT_TRUE(QFile::remove(gone.path));
    for (const FileRecord &empty : {textFile(QStringLiteral("zero.txt"), QByteArray("a\0b", 3)), gone}) {
        const ExtractionWorker::Result none = worker.extract(empty);
        EXPECT_EQ(none.outcome, Outcome::extracted);
        EXPECT_EQ(none.content, ExtractedText());
    }
    expectHealthy(worker);
    EXPECT_EQ(worker.startCount(), 1);
}

TEST(ExtractionWorker, ReadsPhotosThroughImagePluginsUnderTheCap)
{
    // JPEG comes through a Qt image plugin, which the worker must find; OCR
    // must fit in the worker's address space.
    const QString path = folder() + QStringLiteral("/receipt.jpg");
    DocumentFixtures::writeImage(path, DocumentFixtures::textImage({QStringLiteral("Corner Shop receipt")}), 95);
    ExtractionWorker worker(options());
    const ExtractionWorker::Result result = worker.extract(DocumentFixtures::recordOf(path, FileKind::image));
    EXPECT_EQ(result.outcome, Outcome::extracted);
    ASSERT_TRUE(result.content.text);
    EXPECT_TRUE(result.content.text->contains(QStringLiteral("Corner Shop receipt")))
        << result.content.text->toStdString();
}

TEST(ExtractionWorker, CrashStallOrRunawayReaderGivesNoTextAndTheWorkerRestarts)
{
    const struct
    {
        const char *name;
        Outcome outcome;
    } cases[] = {
        {"boom-report.txt", Outcome::crashed},
        {"stall-notes.txt", Outcome::timedOut},
#if !defined(__SANITIZE_ADDRESS__) // sanitized builds run workers without the address-space cap
        {"greedy.txt", Outcome::crashed},
#endif
    };
    ExtractionWorker worker(options(QStringLiteral("crash:boom*;hang:stall*;memory:greedy*"), 1500ms));
    int starts = 1;
    for (const auto &c : cases) {
        const ExtractionWorker::Result bad = worker.extract(textFile(QString::fromUtf8(c.name), "words"));
        EXPECT_EQ(bad.outcome, c.outcome) << c.name;
        EXPECT_EQ(bad.content, ExtractedText()) << c.name;
        expectHealthy(worker);
        EXPECT_EQ(worker.startCount(), starts += 1) << c.name;
    }
}

TEST(ExtractionWorker, BadInputStaysWithinTheLimits)
{
    // Under a tighter cap than the default, a zip bomb and a picture of
    // 1.6 GB decoded are still read within bounds: answered, not crashed.
    ExtractionWorker::Options tight = options();
    tight.addressSpaceLimit = 1LL << 30;
    ExtractionWorker worker(tight);

    const QString bomb = folder() + QStringLiteral("/bomb.docx");
    DocumentFixtures::writeZipBomb(bomb, QStringLiteral("word/document.xml"), "<w:t>ab</w:t>", 200'000'000);
    const ExtractionWorker::Result words = worker.extract(DocumentFixtures::recordOf(bomb));
    EXPECT_EQ(words.outcome, Outcome::extracted);
    ASSERT_TRUE(words.content.text);
    EXPECT_EQ(words.content.text->size(), DocumentText::maxCharacters);

    const QString poster = folder() + QStringLiteral("/poster.png");
    QImage image(20'000, 20'000, QImage::Format_Mono);
    image.fill(0);
    DocumentFixtures::writeImage(poster, image);
    const ExtractionWorker::Result picture = worker.extract(DocumentFixtures::recordOf(poster, FileKind::image));
    EXPECT_EQ(picture.outcome, Outcome::extracted);
    EXPECT_FALSE(picture.content.text);
    EXPECT_EQ(worker.startCount(), 1);
}

TEST(ExtractionWorker, CancellingEndsTheWaitWithoutJudgingTheFile)
{
    ExtractionWorker worker(options(QStringLiteral("hang:stuck*")));
    CancellationToken token;
    std::thread canceller([token] {
        std::this_thread::sleep_for(300ms);
        token.cancel();
    });
    const ExtractionWorker::Result result = worker.extract(textFile(QStringLiteral("stuck.txt"), "words"), token);
    canceller.join();
    EXPECT_EQ(result.outcome, Outcome::cancelled);
    expectHealthy(worker);
}

TEST(ExtractionWorker, AProgramThatIsNoWorkerIsUnavailable)
{
    for (const QString &program : {QStringLiteral("/nonexistent/larder"), QStringLiteral("/bin/true")}) {
        ExtractionWorker::Options wrong = options();
        wrong.program = program;
        wrong.startTimeLimit = 2s;
        ExtractionWorker worker(wrong);
        EXPECT_EQ(worker.extract(textFile(QStringLiteral("plain.txt"), "words")).outcome, Outcome::unavailable)
            << program.toStdString();
    }
}

TEST(ExtractionWorker, TheWorkerCommandStaysOutOfTheGeneralHelp)
{
    const auto help = TestEnvironment::runLarder({QStringLiteral("--help")});
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_TRUE(help.out.contains(QStringLiteral("info")));
    EXPECT_FALSE(help.out.contains(QStringLiteral("extract-worker")));
}

TEST(ExtractionSlots, ManyCallersShareTwoWorkerProcesses)
{
    ExtractionSlots slots(2, options());
    std::vector<ExtractionWorker::Result> results(6);
    std::vector<std::thread> callers;
    for (int i = 0; i < 6; ++i) {
        callers.emplace_back([&, i] {
            results[size_t(i)] = slots.extract(textFile(QStringLiteral("slot-%1.txt").arg(i), QByteArray::number(i)));
        });
    }
    for (std::thread &caller : callers)
        caller.join();
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(results[size_t(i)].content.text, QString::number(i));
    EXPECT_LE(slots.startCount(), 2);
}
