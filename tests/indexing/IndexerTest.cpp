// The indexer on real folders: the scan and its reconcile, the text loop's rules, the
// library following real file operations, and the inotify watches underneath.
#include "indexing/Indexer.h"

#include "indexing/FileWatcher.h"
#include "indexing/IndexingReport.h"
#include "indexing/IndexingStatus.h"
#include "store/IndexStore.h"
#include "support/DocumentFixtures.h"
#include "support/TestEnvironment.h"
#include "support/TestLibrary.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <gtest/gtest.h>

#include <atomic>
#include <fcntl.h>
#include <future>
#include <string>
#include <vector>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;
using TestEnvironment::writeFile;
using Outcome = ExtractionWorker::Outcome;

namespace {

// Text "extracted" from the file's own bytes, without a worker process.
ExtractionWorker::Result readBytes(const FileRecord &record, const CancellationToken & = CancellationToken::none())
{
    QFile file(record.path);
    const bool opened = file.open(QIODevice::ReadOnly);
    return {{opened ? std::optional(QString::fromUtf8(file.readAll())) : std::nullopt, std::nullopt}, Outcome::extracted};
}

// Generous: the machine may be busy with other builds and tests.
bool eventually(const std::function<bool()> &condition)
{
    return TestEnvironment::waitUntil(condition, 15000);
}

// In the calling process, single-threaded since a fork: enters a user
// namespace of its own, where the limit on inotify watches can be lowered
// without touching the machine's. False where user namespaces aren't allowed.
bool enterNamespaceWithWatchLimit(const char *limit)
{
    const auto writeTo = [](const char *path, const char *text) {
        const int fd = ::open(path, O_WRONLY);
        const bool ok = fd >= 0 && ::write(fd, text, strlen(text)) == ssize_t(strlen(text));
        ::close(fd);
        return ok;
    };
    return ::unshare(CLONE_NEWUSER) == 0 && writeTo("/proc/self/setgroups", "deny") && writeTo("/proc/self/uid_map", "0 0 1")
           && writeTo("/proc/self/gid_map", "0 0 1") && writeTo("/proc/sys/user/max_inotify_watches", limit);
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
        ASSERT_TRUE(TestEnvironment::waitUntil([&] { return finished.count() > 0 && indexer->isIdle(); }, 30000));
        QCoreApplication::processEvents(); // what the tasks handed to the main thread before they ended
    }

    QString at(const QString &relative) const { return root + u'/' + relative; }

    qint64 count(const char *sql, const SQLBindings &arguments) const
    {
        return library.db->scalar(QString::fromUtf8(sql), arguments).intValue().value_or(-1);
    }
    qint64 size(const QString &path) const { return count("SELECT size FROM files WHERE path = ?", {path}); }
    bool hasRow(const QString &path) const { return size(path) >= 0; }
    bool waitForRow(const QString &path, bool present = true) { return eventually([&] { return hasRow(path) == present; }); }
    qint64 matches(const QString &word) const { return count("SELECT count(*) FROM passages WHERE passages MATCH ?", {word}); }

    QTemporaryDir rootDir, outside;
    const QString root = QDir::cleanPath(rootDir.path());
    TestLibrary library;
    IndexStore *store = &library.store;
    IndexingStatus status;
    std::unique_ptr<Indexer> indexer;
};

} // namespace

TEST(ChangeFlushPaths, EventPathsMapToPackagesAndHiddenOrSkippedFoldersAreDropped)
{
    // The outer of two packages wins; a hidden name is no package. A plain one is followed end to end.
    const std::pair<QString, QString> packages[] = {{"/a/Out.bundle/In.app/x", "/a/Out.bundle"}, {"/a/.app/x", "/a/.app/x"}};
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
    DocumentFixtures::writeTextPdf(at("lease.pdf"), {u"The quokka tenancy runs two years."_s});
    store->files().upsert({DocumentFixtures::recordOf(at("old.txt"))}, root, 1000); // its file has gone since
    for (const auto &[file, text] : {std::pair("kept.txt", "first words"), {"gone.txt", "soon deleted"},
             {"Leaving/inside.txt", "moving out"}, {"Tool.app/Contents/Info.plist", "<plist/>"}, {"Renaming/inner/old.txt", "x"}})
        writeFile(at(QLatin1String(file)), text);
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
    QDir().mkpath(at("Fresh/deeper"));
    ASSERT_TRUE(QDir().rename(outside.path() + "/Arriving", at("Arriving")));
    ASSERT_TRUE(QDir().rename(at("Leaving"), outside.path() + "/Leaving"));
    writeFile(at("Tool.app/Contents/MacOS/tool"), QByteArray(10000, 'x'));
    writeFile(at(".secret/diary.txt"), "private");
    writeFile(at("Library.sqlite"), "the library's own file");
    ASSERT_TRUE(QDir().rename(at("Renaming"), at("Renamed")));

    EXPECT_TRUE(waitForRow(at("created.txt")));
    EXPECT_TRUE(waitForRow(at("gone.txt"), false));
    EXPECT_TRUE(eventually([&] { return size(at("kept.txt")) == 20; }));
    EXPECT_TRUE(waitForRow(at("Arriving/deeper/arrived.txt"))) << "a folder moved in is walked";
    EXPECT_TRUE(waitForRow(at("Leaving/inside.txt"), false)) << "a folder moved out goes whole";
    EXPECT_TRUE(eventually([&] { return size(at("Tool.app")) > 10000; })) << "a package changes whole";
    EXPECT_FALSE(hasRow(at("Tool.app/Contents/MacOS/tool")));
    EXPECT_TRUE(eventually([&] { return matches("brand") == 1; })) << "changed files get their text";
    EXPECT_TRUE(waitForRow(at("Renamed/inner/old.txt")));
    EXPECT_FALSE(hasRow(at(".secret/diary.txt")));
    EXPECT_FALSE(hasRow(at("Library.sqlite")));
    // Folders that appeared or were renamed are watched from then on.
    for (const QString &file : {u"Fresh/deeper/later.txt"_s, u"Arriving/deeper/later.txt"_s, u"Renamed/inner/later.txt"_s}) {
        writeFile(at(file), "x");
        EXPECT_TRUE(waitForRow(at(file))) << file.toStdString();
    }
}

// A debounce that restarted on each change would never write a file that is
// written every 50 ms; and changes seen survive a stop and a shutdown.
TEST_F(IndexerTest, ChangesAreWrittenWhileAFileGrowsAndAcrossStopAndShutdown)
{
    make();
    startAndSettle({root});
    EXPECT_EQ(store->missingFileIndexes(), QStringList()) << "the first scan built the indexes it went without";
    writeFile(at("before-stop.txt"), "x");
    ASSERT_TRUE(eventually([&] { return !indexer->isIdle(); })) << "the change was seen";
    indexer->stop();
    EXPECT_TRUE(waitForRow(at("before-stop.txt")));

    startAndSettle({root});
    QFile file(at("growing.log"));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    EXPECT_TRUE(eventually([&] {
        file.write("line\n");
        file.flush();
        QThread::msleep(50);
        return hasRow(at("growing.log"));
    }));
    writeFile(at("before-exit.txt"), "x");
    indexer->shutDown();
    EXPECT_TRUE(hasRow(at("before-exit.txt"))) << "shutting down writes the changes at once";
}

TEST_F(IndexerTest, StartingAgainCancelsTheFirstScanBeforeItsReconcile)
{
    const QString first = at("first"), second = at("second");
    DocumentFixtures::makeFiles(first, 2000, [](int i) { return u"f%1.txt"_s.arg(i); },
                                [](const QString &path, int) { writeFile(path, "x"); });
    writeFile(second + "/only.txt", "second root");
    store->files().upsert({DocumentFixtures::recordOf(first + "/stale.txt")}, first, 1000);

    make();
    indexer->start({first});
    startAndSettle({second});
    EXPECT_TRUE(hasRow(first + "/stale.txt")) << "the replaced scan's reconcile didn't run";
    EXPECT_TRUE(hasRow(second + "/only.txt"));
    EXPECT_LT(count("SELECT count(*) FROM files WHERE root = ? AND size = 1", {first}), 2000);
}

TEST_F(IndexerTest, ExtractionRunsTwoAtATimeAndOneMorePassForAnyNumberOfRequests)
{
    DocumentFixtures::makeFiles(root, 30, [](int i) { return u"doc%1.txt"_s.arg(i); },
                                [](const QString &path, int i) { writeFile(path, "words " + QByteArray::number(i)); });
    std::atomic_int inFlight = 0, most = 0, calls = 0;
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
    ASSERT_TRUE(eventually([&] { return holding.load(); }));
    QSignalSpy drained(indexer.get(), &Indexer::drainFinished);
    for (int i = 0; i < 5; ++i)
        indexer->scheduleExtraction();
    release.set_value();
    ASSERT_TRUE(eventually([&] { return indexer->isIdle(); }));
    QTest::qWait(300);
    EXPECT_EQ(drained.count(), 2);
    EXPECT_EQ(calls, 31);
}

TEST_F(IndexerTest, FailuresEndInTextStatesAndAMissingWorkerInTheLastError)
{
    for (const char *name : {"crash.txt", "stall.txt", "empty.txt", "fine.txt"})
        writeFile(at(QString::fromUtf8(name)), QByteArray(name));
    // Crashed, stalled and empty readings all end without text.
    make([](const FileRecord &record, const CancellationToken &) -> ExtractionWorker::Result {
        const QHash<QString, Outcome> failures{{"crash.txt", Outcome::crashed}, {"stall.txt", Outcome::timedOut}};
        if (record.name == QLatin1String("empty.txt"))
            return {{QString(), std::nullopt}, Outcome::extracted};
        return failures.contains(record.name) ? ExtractionWorker::Result{{}, failures[record.name]} : readBytes(record);
    });
    const auto textState = [&](const char *name) {
        return TextState(count("SELECT text_state FROM files WHERE path = ?", {at(QString::fromUtf8(name))}));
    };
    startAndSettle({root});
    for (const char *name : {"crash.txt", "stall.txt", "empty.txt"})
        EXPECT_EQ(textState(name), TextState::NoText) << name;
    EXPECT_EQ(textState("fine.txt"), TextState::Extracted);
    EXPECT_FALSE(status.lastError());
    // No worker program: nothing is judged, the pass ends, the user is told,
    // and the report keeps it for a later `larder status`.
    indexer.reset();
    writeFile(at("later.txt"), "later");
    make(nullptr, u"/nonexistent/larder"_s);
    startAndSettle({root});
    EXPECT_EQ(textState("later.txt"), TextState::Waiting);
    ASSERT_TRUE(status.lastError());
    EXPECT_TRUE(status.lastError()->contains(QLatin1String("text reader")));
    const IndexingReport report = IndexingReport::load(at("Library.sqlite"));
    EXPECT_EQ(report.lastError, status.lastError());
    EXPECT_EQ(report.roots, QStringList{root});
    EXPECT_TRUE(report.scannedAt.has_value());
}

// The handler holds the watcher's thread while more events happen than the
// kernel queues.
TEST_F(IndexerTest, TheWatcherSkipsHiddenSkippedOrDepartedFoldersAndReportsAnOverflow)
{
    for (const char *folder : {"a/b", "node_modules/pkg", ".hidden", "leaving/sub"})
        QDir(root).mkpath(QString::fromUtf8(folder));
    std::atomic_bool armed = false, holding = false;
    std::atomic_int overflows = 0;
    std::promise<void> release;
    const std::shared_future<void> released = release.get_future().share();
    const auto hold = [&](const QStringList &) {
        if (armed)
            holding = true, released.wait();
    };
    FileWatcher watcher({root}, {hold, [&] { ++overflows; }, {}}, {}, [](const QString &name) { return name == "node_modules"; });
    watcher.start();
    EXPECT_EQ(watcher.watchCount(), 5);
    ASSERT_TRUE(QDir().rename(at("leaving"), outside.path() + "/left"));
    EXPECT_TRUE(eventually([&] { return watcher.watchCount() == 3; })) << watcher.watchCount();
    armed = true;
    QFile limit(u"/proc/sys/fs/inotify/max_queued_events"_s);
    const int queued = limit.open(QIODevice::ReadOnly) ? limit.readAll().trimmed().toInt() : 0;
    QFile files[] = {QFile(at("first")), QFile(at("second"))};
    const bool opened = files[0].open(QIODevice::WriteOnly) && files[1].open(QIODevice::WriteOnly);
    // A kernel whose queue is too large to fill here leaves the overflow unchecked.
    const bool held = opened && queued > 0 && queued <= 200000 && eventually([&] { return holding.load(); });
    // Writes to two files in turn, so that the kernel merges none of them.
    for (int i = 0; held && i < 2 * queued; ++i)
        files[i % 2].write("x"), files[i % 2].flush();
    release.set_value();
    ASSERT_TRUE(opened);
    EXPECT_TRUE(!held || eventually([&] { return overflows > 0; }));
    watcher.stop();
    EXPECT_EQ(watcher.watchCount(), 0);
}

// In a user namespace of its own the test can lower the limit on watches
// without touching the machine's.
TEST(FileWatcherLimits, RunningOutOfWatchesIsReportedAndWatchingGoesOn)
{
    QTemporaryDir root;
    for (int i = 0; i < 6; ++i)
        QDir(root.path()).mkpath(u"f%1"_s.arg(i));
    const QString file = root.path() + u"/still-seen.txt"_s;
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        if (!enterNamespaceWithWatchLimit("3"))
            ::_exit(77);
        std::atomic_bool seen = false;
        QStringList failures; // written during start(), on this thread
        FileWatcher watcher({root.path()}, {[&](const QStringList &paths) { seen = seen || paths.contains(file); },
                                            {}, [&](const QString &message) { failures.append(message); }});
        watcher.start();
        if (failures != QStringList{FileWatcher::outOfWatchesMessage()} || watcher.watchCount() != 3)
            ::_exit(1);
        writeFile(file, "x");
        for (int i = 0; i < 200 && !seen; ++i)
            QThread::msleep(10);
        ::_exit(seen ? 0 : 2);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    ASSERT_TRUE(WIFEXITED(status));
    if (WEXITSTATUS(status) == 77)
        GTEST_SKIP() << "this machine allows no user namespaces";
    EXPECT_EQ(WEXITSTATUS(status), 0) << "1: not reported, 2: the watched root went quiet";
}

// The indexer runs out of watches: the status says so in the user's words,
// as do `larder index` and `larder status`, and an explicit scan still finds
// what changed in the folders it couldn't follow. The test runs itself again, alone, in a user namespace of its own
// with room for three watches (the root and two of its six folders).
TEST_F(IndexerTest, OutOfWatchesTheStatusSaysSoAndScansStillFollowTheDisk)
{
    if (qEnvironmentVariableIsEmpty("LARDER_TEST_WATCH_LIMIT")) {
        // Everything the child needs is made before the fork.
        const ::testing::TestInfo *test = ::testing::UnitTest::GetInstance()->current_test_info();
        const std::string filter = std::string("--gtest_filter=") + test->test_suite_name() + '.' + test->name();
        std::vector<std::string> environment{"LARDER_TEST_WATCH_LIMIT=3"};
        for (char **variable = environ; *variable; ++variable)
            environment.emplace_back(*variable);
        std::vector<char *> envp;
        for (std::string &variable : environment)
            envp.push_back(variable.data());
        envp.push_back(nullptr);
        const pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            if (!enterNamespaceWithWatchLimit("3"))
                ::_exit(77);
            ::execle("/proc/self/exe", "test_indexing", filter.c_str(), static_cast<char *>(nullptr), envp.data());
            ::_exit(78);
        }
        int status = 0;
        ::waitpid(child, &status, 0);
        ASSERT_TRUE(WIFEXITED(status));
        if (WEXITSTATUS(status) == 77)
            GTEST_SKIP() << "the limit on watches can't be lowered here: this machine allows no user namespaces";
        EXPECT_EQ(WEXITSTATUS(status), 0) << "the run in the namespace failed (78: it couldn't start)";
        return;
    }

    const auto file = [&](int folder, const char *name) { return at(u"f%1/"_s.arg(folder) + QLatin1String(name)); };
    for (int i = 0; i < 6; ++i)
        writeFile(file(i, "kept.txt"), "one");
    make();
    startAndSettle({root});
    ASSERT_TRUE(indexer->isWatching());
    ASSERT_TRUE(eventually([&] { return status.lastError().has_value(); }));
    EXPECT_EQ(status.lastError(), FileWatcher::outOfWatchesMessage());
    EXPECT_EQ(status.lastErrorText(), FileWatcher::outOfWatchesMessage()) << "the property the screens show";
    EXPECT_EQ(IndexingReport::load(at("Library.sqlite")).lastError, status.lastError()) << "what `larder status` shows";

    for (int i = 0; i < 6; ++i) {
        writeFile(file(i, "kept.txt"), "one and more");
        writeFile(file(i, "new.txt"), "new");
    }
    startAndSettle({root});
    for (int i = 0; i < 6; ++i) {
        EXPECT_EQ(size(file(i, "kept.txt")), 12) << i;
        EXPECT_TRUE(hasRow(file(i, "new.txt"))) << i;
    }
    EXPECT_EQ(status.lastError(), FileWatcher::outOfWatchesMessage()) << "still short of watches";

    // The command line, in the same namespace, says it too and keeps it for `larder status`.
    indexer.reset();
    const QString database = outside.path() + u"/Library.sqlite"_s;
    const TestEnvironment::ProgramResult index =
        TestEnvironment::runLarder({u"--database"_s, database, u"index"_s, u"--roots"_s, root});
    EXPECT_EQ(index.exitCode, 1) << index.err.toStdString();
    EXPECT_TRUE(index.err.contains(FileWatcher::outOfWatchesMessage())) << index.err.toStdString();
    const TestEnvironment::ProgramResult report =
        TestEnvironment::runLarder({u"--database"_s, database, u"status"_s, u"--json"_s});
    EXPECT_EQ(QJsonDocument::fromJson(report.out.toUtf8())[u"lastError"_s].toString(), FileWatcher::outOfWatchesMessage());
}
