// The indexer on real folders: the scan and its reconcile, the text loop's
// rules, and the library following real file operations through inotify.
#include "indexing/Indexer.h"

#include "indexing/IndexingReport.h"
#include "indexing/IndexingStatus.h"
#include "store/IndexStore.h"
#include "support/TestLibrary.h"
#include "support/DocumentFixtures.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QTest>
#include <QTemporaryDir>
#include <QThread>

#include <gtest/gtest.h>

#include <atomic>
#include <future>

using namespace std::chrono_literals;
using TestEnvironment::waitUntil;
using TestEnvironment::writeFile;
using Outcome = ExtractionWorker::Outcome;

namespace {

// Text "extracted" from the file's own bytes, without a worker process.
ExtractionWorker::Result readBytes(const FileRecord &record, const CancellationToken & = CancellationToken::none())
{
    QFile file(record.path);
    if (!file.open(QIODevice::ReadOnly))
        return {{}, Outcome::extracted};
    return {{QString::fromUtf8(file.readAll()), std::nullopt}, Outcome::extracted};
}

class IndexerTest : public ::testing::Test
{
protected:
    void make(Indexer::Extractor extractor = readBytes, const QString &program = QStringLiteral(LARDER_BINARY))
    {
        Indexer::Options options;
        options.reportKey = at("Library.sqlite");
        options.ignoredPaths = {options.reportKey};
        options.flushDelay = 200ms;
        options.extractor = std::move(extractor);
        options.worker.program = program;
        indexer = std::make_unique<Indexer>(*store, status, std::move(options));
    }

    // Starts on the roots and waits for the scan and the text to be done.
    void startAndSettle(const QStringList &roots)
    {
        QSignalSpy finished(indexer.get(), &Indexer::scanFinished);
        indexer->start(roots);
        ASSERT_TRUE(waitUntil([&] { return finished.count() > 0 && indexer->isIdle(); }, 20000));
        // What the tasks handed to the main thread before they ended.
        QCoreApplication::processEvents();
    }

    QString at(const QString &relative) const { return root + u'/' + relative; }

    qint64 count(const char *sql, const SQLBindings &arguments) const
    {
        return library.db->scalar(QString::fromUtf8(sql), arguments).intValue().value_or(-1);
    }
    qint64 size(const QString &path) const { return count("SELECT size FROM files WHERE path = ?", {path}); }
    bool hasRow(const QString &path) const { return size(path) >= 0; }
    bool waitForRow(const QString &path, bool present = true)
    {
        return waitUntil([&] { return hasRow(path) == present; }, 8000);
    }
    qint64 matches(const QString &word) const { return count("SELECT count(*) FROM passages WHERE passages MATCH ?", {word}); }

    QTemporaryDir rootDir;
    QTemporaryDir outside;
    const QString root = QDir::cleanPath(rootDir.path());
    TestLibrary library;
    IndexStore *store = &library.store;
    IndexingStatus status;
    std::unique_ptr<Indexer> indexer;
};

} // namespace

TEST(ChangeFlushPaths, EventPathsMapToPackagesAndHiddenOrSkippedFoldersAreDropped)
{
    const std::pair<QString, QString> packages[] = {{"/home/a/Keynote.KEY/Data/image.png", "/home/a/Keynote.KEY"},
                                                    {"/home/a/Outer.bundle/Inner.app/x", "/home/a/Outer.bundle"},
                                                    {"/home/a/notes.txt", "/home/a/notes.txt"},
                                                    {"/home/a/.app/x", "/home/a/.app/x"}};
    for (const auto &[path, package] : packages)
        EXPECT_EQ(ChangeFlush::packagePath(path), package) << path.toStdString();

    for (const char *dropped : {"/home/a/.cache/x.txt", "/home/a/project/node_modules/m/index.js", "/home/a/.hidden"})
        EXPECT_TRUE(ChangeFlush::isIgnoredEventPath(QString::fromUtf8(dropped))) << dropped;
    for (const char *kept : {"/home/a/Documents/report.pdf", "/home/a/builds/x", "/home/a/my.library/x"})
        EXPECT_FALSE(ChangeFlush::isIgnoredEventPath(QString::fromUtf8(kept))) << kept;
}

// With the real worker processes.
TEST_F(IndexerTest, ScansReconcilesAndFollowsRealFileOperations)
{
    DocumentFixtures::writeTextPdf(at("lease.pdf"), {QStringLiteral("The quokka tenancy runs two years.")});
    // A row from an earlier scan whose file has gone since.
    FileRecord old = DocumentFixtures::recordOf(at("old.txt"));
    old.size = 3;
    store->files().upsert({old}, root, 1000);
    writeFile(at("kept.txt"), "first words");
    writeFile(at("gone.txt"), "soon deleted");
    writeFile(at("Leaving/inside.txt"), "moving out");
    writeFile(at("Tool.app/Contents/Info.plist"), "<plist/>");
    writeFile(at("Renaming/inner/old.txt"), "renamed soon");
    writeFile(outside.path() + "/Arriving/deeper/arrived.txt", "moved in");
    make(nullptr);
    startAndSettle({root});
    EXPECT_FALSE(hasRow(at("old.txt"))) << "the reconcile removes what has gone";
    EXPECT_EQ(matches("quokka"), 1);
    EXPECT_EQ(status.phase(), IndexingPhase::ready());
    ASSERT_TRUE(indexer->isWatching());

    writeFile(at("created.txt"), "brand new");
    writeFile(at("kept.txt"), "first words and more");
    QFile::remove(at("gone.txt"));
    ASSERT_TRUE(QDir().rename(outside.path() + "/Arriving", at("Arriving")));
    ASSERT_TRUE(QDir().rename(at("Leaving"), outside.path() + "/Leaving"));
    writeFile(at("Tool.app/Contents/MacOS/tool"), QByteArray(10000, 'x'));
    writeFile(at(".secret/diary.txt"), "private");
    writeFile(at("Library.sqlite"), "the library's own file");
    QDir().mkpath(at("Fresh/deeper"));
    ASSERT_TRUE(QDir().rename(at("Renaming"), at("Renamed")));

    EXPECT_TRUE(waitForRow(at("created.txt")));
    EXPECT_TRUE(waitForRow(at("gone.txt"), false));
    EXPECT_TRUE(waitUntil([&] { return size(at("kept.txt")) == 20; }, 8000));
    EXPECT_TRUE(waitForRow(at("Arriving/deeper/arrived.txt"))) << "a folder moved in is walked";
    EXPECT_TRUE(waitForRow(at("Leaving/inside.txt"), false)) << "a folder moved out goes whole";
    EXPECT_TRUE(waitUntil([&] { return size(at("Tool.app")) > 10000; }, 8000)) << "a package changes whole";
    EXPECT_FALSE(hasRow(at("Tool.app/Contents/MacOS/tool")));
    EXPECT_TRUE(waitUntil([&] { return matches("brand") == 1; }, 8000)) << "changed files get their text";
    EXPECT_TRUE(waitForRow(at("Renamed/inner/old.txt")));
    EXPECT_FALSE(hasRow(at(".secret/diary.txt")));
    EXPECT_FALSE(hasRow(at("Library.sqlite")));

    // Folders that appeared or were renamed are watched from then on.
    writeFile(at("Fresh/deeper/later.txt"), "x");
    writeFile(at("Arriving/deeper/later.txt"), "x");
    writeFile(at("Renamed/inner/later.txt"), "x");
    for (const char *file : {"Fresh/deeper/later.txt", "Arriving/deeper/later.txt", "Renamed/inner/later.txt"})
        EXPECT_TRUE(waitForRow(at(file))) << file;
}

TEST_F(IndexerTest, TheFlushIsNotPushedBackByAFileWrittenWithoutPause)
{
    make();
    startAndSettle({root});
    QFile file(at("growing.log"));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    // Written every 50 ms for up to 4 seconds: a debounce of 200 ms would
    // never fire while this goes on.
    const bool seenWhileWriting = waitUntil([&] {
        file.write("line\n");
        file.flush();
        QThread::msleep(50);
        return hasRow(at("growing.log"));
    }, 4000);
    EXPECT_TRUE(seenWhileWriting);
}

TEST_F(IndexerTest, StoppingKeepsTheChangesSeenAndShuttingDownWritesThemAtOnce)
{
    make();
    startAndSettle({root});
    writeFile(at("before-stop.txt"), "x");
    ASSERT_TRUE(waitUntil([&] { return !indexer->isIdle(); }, 8000)) << "the change was seen";
    indexer->stop();
    EXPECT_TRUE(waitForRow(at("before-stop.txt")));

    startAndSettle({root});
    writeFile(at("before-exit.txt"), "x");
    indexer->shutDown();
    EXPECT_TRUE(hasRow(at("before-exit.txt")));
}

TEST_F(IndexerTest, StartingAgainCancelsTheFirstScanBeforeItsReconcile)
{
    const QString first = root + "/first";
    const QString second = root + "/second";
    DocumentFixtures::makeFiles(first, 2000, [](int i) { return QStringLiteral("f%1.txt").arg(i); },
                                [](const QString &path, int) { writeFile(path, "x"); });
    writeFile(second + "/only.txt", "second root");
    FileRecord stale = DocumentFixtures::recordOf(first + "/stale.txt");
    stale.size = 5;
    store->files().upsert({stale}, first, 1000);

    make();
    indexer->start({first});
    startAndSettle({second});
    EXPECT_TRUE(hasRow(first + "/stale.txt")) << "the replaced scan's reconcile didn't run";
    EXPECT_TRUE(hasRow(second + "/only.txt"));
    EXPECT_EQ(indexer->roots(), QStringList{second});
    EXPECT_LT(count("SELECT count(*) FROM files WHERE root = ? AND size = 1", {first}), 2000);
}

TEST_F(IndexerTest, ExtractionRunsTwoAtATimeAndOneMorePassForAnyNumberOfRequests)
{
    DocumentFixtures::makeFiles(root, 30, [](int i) { return QStringLiteral("doc%1.txt").arg(i); },
                                [](const QString &path, int i) { writeFile(path, "words " + QByteArray::number(i)); });
    std::atomic_int inFlight = 0;
    std::atomic_int most = 0;
    std::atomic_int calls = 0;
    std::atomic_bool holding = false;
    std::promise<void> release;
    const std::shared_future<void> released = release.get_future().share();
    make([&](const FileRecord &record, const CancellationToken &) {
        const int now = ++inFlight;
        for (int seen = most; now > seen && !most.compare_exchange_weak(seen, now);) {
        }
        ++calls;
        holding = record.name == QLatin1String("late.txt");
        holding ? released.wait() : QThread::msleep(20);
        --inFlight;
        return readBytes(record);
    });
    startAndSettle({root});
    EXPECT_EQ(most, 2) << "two files in flight, never more";
    EXPECT_EQ(calls, 30) << "each file is read once";
    EXPECT_EQ(matches("words"), 30);

    // While a pass is busy, any number of requests make exactly one more pass.
    writeFile(at("late.txt"), "late words");
    ASSERT_TRUE(waitUntil([&] { return holding.load(); }, 8000));
    QSignalSpy drained(indexer.get(), &Indexer::drainFinished);
    for (int i = 0; i < 5; ++i)
        indexer->scheduleExtraction();
    release.set_value();
    ASSERT_TRUE(waitUntil([&] { return indexer->isIdle(); }, 8000));
    QTest::qWait(300);
    EXPECT_EQ(drained.count(), 2);
    EXPECT_EQ(calls, 31);
}

TEST_F(IndexerTest, FailuresEndInTextStatesAndAMissingWorkerInTheLastError)
{
    for (const char *name : {"crash.txt", "stall.txt", "empty.txt", "fine.txt"})
        writeFile(at(QString::fromUtf8(name)), QByteArray(name));
    make([](const FileRecord &record, const CancellationToken &) -> ExtractionWorker::Result {
        if (record.name == QLatin1String("crash.txt"))
            return {{}, Outcome::crashed};
        if (record.name == QLatin1String("stall.txt"))
            return {{}, Outcome::timedOut};
        if (record.name == QLatin1String("empty.txt"))
            return {{QString(), std::nullopt}, Outcome::extracted};
        return readBytes(record);
    });
    const auto textState = [&](const char *name) {
        return TextState(count("SELECT text_state FROM files WHERE path = ?", {at(QString::fromUtf8(name))}));
    };
    startAndSettle({root});
    for (const char *name : {"crash.txt", "stall.txt", "empty.txt"})
        EXPECT_EQ(textState(name), TextState::NoText) << name;
    EXPECT_EQ(textState("fine.txt"), TextState::Extracted);
    EXPECT_FALSE(status.lastError());

    // No worker program: nothing is judged, the pass ends, the user is told.
    indexer.reset();
    writeFile(at("later.txt"), "later");
    make(nullptr, QStringLiteral("/nonexistent/larder"));
    startAndSettle({root});
    EXPECT_EQ(textState("later.txt"), TextState::Waiting);
    ASSERT_TRUE(status.lastError());
    EXPECT_TRUE(status.lastError()->contains(QLatin1String("text reader")));
    // Kept for a later `larder status`.
    const IndexingReport report = IndexingReport::load(at("Library.sqlite"));
    EXPECT_EQ(report.lastError, status.lastError());
    EXPECT_EQ(report.roots, QStringList{root});
    EXPECT_TRUE(report.scannedAt.has_value());
}
