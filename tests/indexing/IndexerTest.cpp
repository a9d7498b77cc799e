// The indexer on real folders: the scan and its reconcile, the text loop's
// rules, and the library following real file operations through inotify.
#include "indexing/Indexer.h"

#include "indexing/IndexingReport.h"
#include "indexing/IndexingStatus.h"
#include "store/IndexStore.h"
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
#include <condition_variable>
#include <mutex>

using namespace std::chrono_literals;
using TestEnvironment::waitUntil;
using TestEnvironment::writeFile;
using Outcome = ExtractionWorker::Outcome;

namespace {

// Text "extracted" from the file's own bytes, without a worker process.
ExtractionWorker::Result readBytes(const FileRecord &record)
{
    QFile file(record.path);
    if (!file.open(QIODevice::ReadOnly))
        return {{}, Outcome::extracted};
    return {{QString::fromUtf8(file.readAll()), std::nullopt}, Outcome::extracted};
}

ExtractionWorker::Result readBytesOf(const FileRecord &record, const CancellationToken &)
{
    return readBytes(record);
}

class IndexerTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        store = IndexStore::openInMemory();
        root = QDir::cleanPath(rootDir.path());
    }
    void TearDown() override { indexer.reset(); }

    void make(Indexer::Extractor extractor = readBytesOf, const QString &program = {})
    {
        Indexer::Options options;
        options.reportKey = root + QStringLiteral("/Library.sqlite");
        options.watcherLatency = 0.1;
        options.flushDelay = 200ms;
        options.extractor = std::move(extractor);
        options.worker.program = program.isEmpty() ? QStringLiteral(LARDER_BINARY) : program;
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

    bool settle(int timeoutMs = 8000)
    {
        // Give the watcher and the flush their time, then wait for quiet.
        const bool idle = waitUntil([&] { return indexer->isIdle(); }, timeoutMs);
        QCoreApplication::processEvents();
        return idle;
    }

    QString at(const QString &relative) const { return root + u'/' + relative; }

    std::optional<FileRecord> row(const QString &path) const
    {
        const auto rows = store->db().query(QStringLiteral("SELECT * FROM files WHERE path = ?"), {path});
        if (rows.isEmpty())
            return std::nullopt;
        return IndexStore::decodeRecord(rows.first());
    }
    int textState(const QString &path) const
    {
        return int(store->db()
                       .scalar(QStringLiteral("SELECT text_state FROM files WHERE path = ?"), {path})
                       .intValue().value_or(-1));
    }
    bool hasRow(const QString &path) const { return row(path).has_value(); }
    bool waitForRow(const QString &path, bool present = true)
    {
        return waitUntil([&] { return hasRow(path) == present; }, 8000);
    }
    qint64 matches(const QString &word) const
    {
        return store->db()
            .scalar(QStringLiteral("SELECT count(*) FROM passages WHERE passages MATCH ?"), {word})
            .intValue().value_or(-1);
    }

    QTemporaryDir rootDir;
    QTemporaryDir outside;
    QString root;
    std::unique_ptr<IndexStore> store;
    IndexingStatus status;
    std::unique_ptr<Indexer> indexer;
};

} // namespace

TEST(IndexerPaths, EventPathsMapToPackagesAndHiddenOrSkippedFoldersAreDropped)
{
    const struct
    {
        const char *path;
        const char *package;
    } packages[] = {
        {"/home/a/Keynote.KEY/Data/image.png", "/home/a/Keynote.KEY"},
        {"/home/a/Tool.app/Contents/MacOS/tool", "/home/a/Tool.app"},
        {"/home/a/Outer.bundle/Inner.app/x", "/home/a/Outer.bundle"},
        {"/home/a/notes.txt", "/home/a/notes.txt"},
        {"/home/a/.app/x", "/home/a/.app/x"},
    };
    for (const auto &c : packages)
        EXPECT_EQ(Indexer::packagePath(QString::fromUtf8(c.path)), QString::fromUtf8(c.package)) << c.path;

    for (const char *dropped : {"/home/a/.cache/x.txt", "/home/a/project/node_modules/m/index.js",
                                "/home/a/Library/x", "/home/a/src/build/out.o", "/home/a/.hidden"})
        EXPECT_TRUE(Indexer::isIgnoredEventPath(QString::fromUtf8(dropped))) << dropped;
    for (const char *kept : {"/home/a/Documents/report.pdf", "/home/a/builds/x", "/home/a/my.library/x"})
        EXPECT_FALSE(Indexer::isIgnoredEventPath(QString::fromUtf8(kept))) << kept;
}

TEST_F(IndexerTest, ScansReconcilesAndReadsTextWithTheWorker)
{
    DocumentFixtures::writeTextPdf(at("Documents/lease.pdf"), {QStringLiteral("The quokka tenancy runs two years.")});
    writeFile(at("Documents/notes.txt"), "marmalade recipe");
    writeFile(at("Documents/.hidden.txt"), "never seen");
    // A row from an earlier scan whose file has gone since.
    FileRecord gone = DocumentFixtures::recordOf(at("Documents/old.txt"));
    gone.size = 3;
    store->upsert({gone}, root, 1000);

    make(nullptr);
    QSignalSpy revisions(&status, &IndexingStatus::revisionChanged);
    startAndSettle({root});

    EXPECT_TRUE(hasRow(at("Documents/lease.pdf")));
    EXPECT_TRUE(hasRow(at("Documents/notes.txt")));
    EXPECT_FALSE(hasRow(at("Documents/.hidden.txt")));
    EXPECT_FALSE(hasRow(at("Documents/old.txt"))) << "the reconcile removes what has gone";
    EXPECT_EQ(matches("quokka"), 1);
    EXPECT_EQ(matches("marmalade"), 1);
    EXPECT_EQ(store->textQueueCount(), 0);
    EXPECT_EQ(status.phase(), IndexingPhase::ready());
    EXPECT_GE(revisions.count(), 3);
    EXPECT_TRUE(indexer->isWatching());
}

TEST_F(IndexerTest, FollowsRealFileOperations)
{
    writeFile(at("kept.txt"), "first words");
    writeFile(at("gone.txt"), "soon deleted");
    writeFile(at("Leaving/inside.txt"), "moving out");
    writeFile(at("Tool.app/Contents/Info.plist"), "<plist/>");
    QDir().mkpath(outside.path() + "/Arriving/deeper");
    writeFile(outside.path() + "/Arriving/deeper/arrived.txt", "moved in");
    make();
    startAndSettle({root});
    ASSERT_TRUE(hasRow(at("kept.txt")));
    ASSERT_TRUE(hasRow(at("Tool.app")));
    const qint64 revision = status.revision();

    // Create, modify, delete.
    writeFile(at("created.txt"), "brand new");
    writeFile(at("kept.txt"), "first words and more");
    QFile::remove(at("gone.txt"));
    EXPECT_TRUE(waitForRow(at("created.txt")));
    EXPECT_TRUE(waitForRow(at("gone.txt"), false));
    EXPECT_TRUE(waitUntil([&] { return row(at("kept.txt"))->size == 20; }, 8000));

    // A folder moved in is walked; one moved out leaves with everything in it.
    ASSERT_TRUE(QDir().rename(outside.path() + "/Arriving", at("Arriving")));
    ASSERT_TRUE(QDir().rename(at("Leaving"), outside.path() + "/Leaving"));
    EXPECT_TRUE(waitForRow(at("Arriving/deeper/arrived.txt")));
    EXPECT_TRUE(waitForRow(at("Leaving/inside.txt"), false));

    // A new folder full of files.
    QDir().mkpath(at("Batch"));
    for (int i = 0; i < 30; ++i)
        writeFile(at(QStringLiteral("Batch/file%1.txt").arg(i)), QByteArray("sprocket ") + QByteArray::number(i));
    EXPECT_TRUE(waitUntil([&] { return hasRow(at("Batch/file29.txt")) && hasRow(at("Batch/file0.txt")); }, 8000));

    // A change inside a package comes down to the package itself.
    writeFile(at("Tool.app/Contents/MacOS/tool"), QByteArray(10000, 'x'));
    EXPECT_TRUE(waitUntil([&] { return row(at("Tool.app"))->size > 10000; }, 8000));
    EXPECT_FALSE(hasRow(at("Tool.app/Contents/MacOS/tool")));

    // Hidden folders never reach the library.
    writeFile(at(".secret/diary.txt"), "private");
    ASSERT_TRUE(settle());
    EXPECT_TRUE(waitUntil([&] { return matches("brand") == 1 && matches("sprocket") == 30; }, 8000))
        << "changed files get their text";
    EXPECT_FALSE(hasRow(at(".secret/diary.txt")));
    EXPECT_GT(status.revision(), revision);
}

TEST_F(IndexerTest, TheFlushIsNotPushedBackByAFileWrittenWithoutPause)
{
    make();
    startAndSettle({root});
    QFile file(at("growing.log"));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    bool seenWhileWriting = false;
    // Written every 50 ms for up to 4 seconds: a debounce of 200 ms would
    // never fire while this goes on.
    for (int i = 0; i < 80 && !seenWhileWriting; ++i) {
        file.write("line\n");
        file.flush();
        QCoreApplication::processEvents();
        QThread::msleep(50);
        seenWhileWriting = hasRow(at("growing.log"));
    }
    EXPECT_TRUE(seenWhileWriting);
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
    store->upsert({stale}, first, 1000);

    make();
    indexer->start({first});
    startAndSettle({second});
    EXPECT_TRUE(hasRow(first + "/stale.txt")) << "the replaced scan's reconcile didn't run";
    EXPECT_TRUE(hasRow(second + "/only.txt"));
    EXPECT_EQ(indexer->roots(), QStringList{second});
    // Whatever the first scan stored is whole and valid.
    const qint64 firstRows = store->db()
                                 .scalar(QStringLiteral("SELECT count(*) FROM files WHERE root = ? AND size = 1"),
                                         {first})
                                 .intValue().value_or(-1);
    EXPECT_LT(firstRows, 2000);
}

TEST_F(IndexerTest, ExtractionRunsTwoAtATimeAndOneMorePassForAnyNumberOfRequests)
{
    DocumentFixtures::makeFiles(root, 30, [](int i) { return QStringLiteral("doc%1.txt").arg(i); },
                                [](const QString &path, int i) { writeFile(path, "words " + QByteArray::number(i)); });
    std::atomic_int inFlight = 0;
    std::atomic_int most = 0;
    std::atomic_int calls = 0;
    std::mutex lock;
    std::condition_variable released;
    bool holding = false;
    bool release = false;
    make([&](const FileRecord &record, const CancellationToken &) {
        const int now = ++inFlight;
        int seen = most;
        while (now > seen && !most.compare_exchange_weak(seen, now)) {
        }
        ++calls;
        if (record.name == QLatin1String("late.txt")) {
            std::unique_lock guard(lock);
            holding = true;
            released.wait(guard, [&] { return release; });
        } else {
            QThread::msleep(20);
        }
        --inFlight;
        return readBytes(record);
    });
    startAndSettle({root});
    EXPECT_EQ(most, 2) << "two files in flight, never more";
    EXPECT_EQ(calls, 30) << "each file is read once";
    EXPECT_EQ(matches("words"), 30);

    // While a pass is busy, any number of requests make exactly one more pass.
    writeFile(at("late.txt"), "late words");
    ASSERT_TRUE(waitUntil([&] {
        std::lock_guard guard(lock);
        return holding;
    }, 8000));
    QSignalSpy drained(indexer.get(), &Indexer::drainFinished);
    for (int i = 0; i < 5; ++i)
        indexer->scheduleExtraction();
    {
        std::lock_guard guard(lock);
        release = true;
    }
    released.notify_all();
    ASSERT_TRUE(settle());
    QTest::qWait(300);
    EXPECT_EQ(drained.count(), 2);
    EXPECT_EQ(calls, 31);
}

TEST_F(IndexerTest, AFileDeletedWhileItsTextIsReadLeavesNoTrace)
{
    writeFile(at("vanishing.txt"), "ghostly words");
    writeFile(at("staying.txt"), "solid words");
    IndexStore *library = store.get();
    make([&](const FileRecord &record, const CancellationToken &) {
        if (record.name != QLatin1String("vanishing.txt"))
            return readBytes(record);
        ExtractionWorker::Result result = readBytes(record);
        QFile::remove(record.path);
        // The watcher's flush removes the row while the text is still out.
        for (int i = 0; i < 200 && library->db().scalar(QStringLiteral("SELECT count(*) FROM files WHERE path = ?"),
                                                         {record.path}).intValue().value_or(-1) > 0;
             ++i)
            QThread::msleep(25);
        return result;
    });
    // The watcher runs before the text is read, so the flush of the
    // deletion meets the extraction in flight.
    startAndSettle({root});
    EXPECT_FALSE(hasRow(at("vanishing.txt")));
    EXPECT_EQ(matches("ghostly"), 0);
    EXPECT_EQ(matches("solid"), 1);
    EXPECT_EQ(store->db().scalar(QStringLiteral("SELECT count(*) FROM passages p WHERE owner_type = 'file' AND "
                                                "NOT EXISTS (SELECT 1 FROM files f WHERE f.id = p.owner_id)"))
                  .intValue().value_or(-1),
              0);
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
    startAndSettle({root});
    for (const char *name : {"crash.txt", "stall.txt", "empty.txt"})
        EXPECT_EQ(textState(at(QString::fromUtf8(name))), int(TextState::NoText)) << name;
    EXPECT_EQ(textState(at("fine.txt")), int(TextState::Extracted));
    EXPECT_FALSE(status.lastError());

    // No worker program: nothing is judged, the pass ends, the user is told.
    indexer.reset();
    writeFile(at("later.txt"), "later");
    make(nullptr, QStringLiteral("/nonexistent/larder"));
    startAndSettle({root});
    EXPECT_EQ(textState(at("later.txt")), int(TextState::Waiting));
    ASSERT_TRUE(status.lastError());
    EXPECT_TRUE(status.lastError()->contains(QLatin1String("text reader")));
    // Kept for a later `larder status`.
    const IndexingReport report = IndexingReport::load(root + QStringLiteral("/Library.sqlite"));
    EXPECT_EQ(report.lastError, status.lastError());
    EXPECT_EQ(report.roots, QStringList{root});
    EXPECT_TRUE(report.scannedAt.has_value());
}
