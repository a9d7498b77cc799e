#include "indexing/FileWatcher.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QThread>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <mutex>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using TestEnvironment::waitUntil;
using TestEnvironment::writeFile;

constexpr double latency = 0.15;

// Collects what a watcher reports, from its thread.
class Recorder
{
public:
    FileWatcher::Callbacks callbacks()
    {
        return {[this](const QStringList &paths) {
                    std::lock_guard guard(m_lock);
                    m_batches.append(paths);
                },
                [this] {
                    std::lock_guard guard(m_lock);
                    ++m_overflows;
                },
                [this](const QString &message) {
                    std::lock_guard guard(m_lock);
                    m_failures.append(message);
                }};
    }

    QSet<QString> seen()
    {
        std::lock_guard guard(m_lock);
        QSet<QString> all;
        for (const QStringList &batch : std::as_const(m_batches))
            all.unite(QSet<QString>(batch.begin(), batch.end()));
        return all;
    }
    int batchCount()
    {
        std::lock_guard guard(m_lock);
        return int(m_batches.size());
    }
    QStringList failures()
    {
        std::lock_guard guard(m_lock);
        return m_failures;
    }
    bool waitFor(const QString &path) { return waitUntil([&] { return seen().contains(path); }, 5000); }
    void clear()
    {
        std::lock_guard guard(m_lock);
        m_batches.clear();
    }

private:
    std::mutex m_lock;
    QList<QStringList> m_batches;
    int m_overflows = 0;
    QStringList m_failures;
};

class FileWatcherTest : public ::testing::Test
{
protected:
    QString root() const { return m_root.path(); }
    QString at(const QString &relative) const { return root() + u'/' + relative; }

    std::unique_ptr<FileWatcher> watch(QStringList ignored = {})
    {
        auto watcher = std::make_unique<FileWatcher>(QStringList{root()}, latency, m_recorder.callbacks(), ignored,
                                                     [](const QString &name) { return name == QLatin1String("node_modules"); });
        watcher->start();
        return watcher;
    }

    QTemporaryDir m_root;
    QTemporaryDir m_outside;
    Recorder m_recorder;
};

} // namespace

TEST_F(FileWatcherTest, ReportsCreatedModifiedAndDeletedFiles)
{
    writeFile(at(QStringLiteral("old.txt")), "old");
    auto watcher = watch();
    writeFile(at(QStringLiteral("new.txt")), "new");
    EXPECT_TRUE(m_recorder.waitFor(at(QStringLiteral("new.txt"))));
    QFile file(at(QStringLiteral("old.txt")));
    ASSERT_TRUE(file.open(QIODevice::Append));
    file.write("more");
    file.close();
    EXPECT_TRUE(m_recorder.waitFor(at(QStringLiteral("old.txt"))));
    m_recorder.clear();
    QFile::remove(at(QStringLiteral("new.txt")));
    EXPECT_TRUE(m_recorder.waitFor(at(QStringLiteral("new.txt"))));
}

TEST_F(FileWatcherTest, GathersABurstIntoOneBatch)
{
    auto watcher = watch();
    for (int i = 0; i < 10; ++i)
        writeFile(at(QStringLiteral("burst%1.txt").arg(i)), "x");
    ASSERT_TRUE(m_recorder.waitFor(at(QStringLiteral("burst9.txt"))));
    EXPECT_EQ(m_recorder.batchCount(), 1);
    EXPECT_EQ(m_recorder.seen().size(), 10);
}

TEST_F(FileWatcherTest, FollowsNewFoldersAndFoldersMovedInOrRenamed)
{
    QDir(root()).mkpath(QStringLiteral("a/b"));
    auto watcher = watch();

    // A new folder: reported, and from then on watched.
    QDir(root()).mkpath(QStringLiteral("fresh/deeper"));
    ASSERT_TRUE(m_recorder.waitFor(at(QStringLiteral("fresh"))));
    QThread::msleep(50);
    writeFile(at(QStringLiteral("fresh/deeper/inside.txt")), "x");
    EXPECT_TRUE(m_recorder.waitFor(at(QStringLiteral("fresh/deeper/inside.txt"))));

    // A folder moved in from outside the root.
    QDir(m_outside.path()).mkpath(QStringLiteral("arrived/sub"));
    ASSERT_TRUE(QDir().rename(m_outside.path() + QStringLiteral("/arrived"), at(QStringLiteral("arrived"))));
    ASSERT_TRUE(m_recorder.waitFor(at(QStringLiteral("arrived"))));
    writeFile(at(QStringLiteral("arrived/sub/later.txt")), "x");
    EXPECT_TRUE(m_recorder.waitFor(at(QStringLiteral("arrived/sub/later.txt"))));

    // A folder renamed in place keeps being watched under its new name.
    ASSERT_TRUE(QDir().rename(at(QStringLiteral("a")), at(QStringLiteral("renamed"))));
    ASSERT_TRUE(m_recorder.waitFor(at(QStringLiteral("renamed"))));
    writeFile(at(QStringLiteral("renamed/b/after.txt")), "x");
    EXPECT_TRUE(m_recorder.waitFor(at(QStringLiteral("renamed/b/after.txt"))));
    EXPECT_FALSE(m_recorder.seen().contains(at(QStringLiteral("a/b/after.txt"))));
}

TEST_F(FileWatcherTest, AFolderMovedOutIsReportedAndNoLongerFollowed)
{
    QDir(root()).mkpath(QStringLiteral("leaving/sub"));
    auto watcher = watch();
    const int before = watcher->watchCount();
    ASSERT_TRUE(QDir().rename(at(QStringLiteral("leaving")), m_outside.path() + QStringLiteral("/gone")));
    ASSERT_TRUE(m_recorder.waitFor(at(QStringLiteral("leaving"))));
    EXPECT_EQ(watcher->watchCount(), before - 2);
    m_recorder.clear();
    writeFile(m_outside.path() + QStringLiteral("/gone/sub/elsewhere.txt"), "x");
    writeFile(at(QStringLiteral("marker.txt")), "x");
    ASSERT_TRUE(m_recorder.waitFor(at(QStringLiteral("marker.txt"))));
    for (const QString &path : m_recorder.seen())
        EXPECT_TRUE(path.startsWith(root())) << path.toStdString();
}

TEST_F(FileWatcherTest, IgnoresTheLibrarysOwnFilesAndSkippedFolders)
{
    QDir(root()).mkpath(QStringLiteral("node_modules/pkg"));
    QDir(root()).mkpath(QStringLiteral(".hidden"));
    const QString database = at(QStringLiteral("Library.sqlite"));
    auto watcher = watch({database, database + QStringLiteral("-wal")});
    EXPECT_EQ(watcher->watchCount(), 1) << "hidden and skipped folders get no watch";
    writeFile(database, "db");
    writeFile(database + QStringLiteral("-wal"), "wal");
    writeFile(at(QStringLiteral("node_modules/pkg/index.js")), "x");
    writeFile(at(QStringLiteral("marker.txt")), "x");
    ASSERT_TRUE(m_recorder.waitFor(at(QStringLiteral("marker.txt"))));
    QThread::msleep(int(latency * 1000) + 100);
    EXPECT_FALSE(m_recorder.seen().contains(database));
    EXPECT_FALSE(m_recorder.seen().contains(database + QStringLiteral("-wal")));
    EXPECT_FALSE(m_recorder.seen().contains(at(QStringLiteral("node_modules/pkg/index.js"))));
}

TEST_F(FileWatcherTest, StartsOnceAndNeverWithoutPaths)
{
    auto watcher = watch();
    const int watches = watcher->watchCount();
    watcher->start();
    EXPECT_EQ(watcher->watchCount(), watches);
    watcher->stop();
    EXPECT_FALSE(watcher->isRunning());
    EXPECT_EQ(watcher->watchCount(), 0);

    FileWatcher empty({}, latency, m_recorder.callbacks());
    empty.start();
    EXPECT_FALSE(empty.isRunning());
}

// In a user namespace of its own the test can lower the limit on watches
// without touching the machine's.
TEST_F(FileWatcherTest, RunningOutOfWatchesIsReportedAndWatchingGoesOn)
{
    for (int i = 0; i < 6; ++i)
        QDir(root()).mkpath(QStringLiteral("f%1").arg(i));
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        const auto writeTo = [](const char *path, const char *text) {
            const int fd = ::open(path, O_WRONLY);
            const bool ok = fd >= 0 && ::write(fd, text, strlen(text)) == ssize_t(strlen(text));
            ::close(fd);
            return ok;
        };
        if (::unshare(CLONE_NEWUSER) != 0 || !writeTo("/proc/self/setgroups", "deny")
            || !writeTo("/proc/self/uid_map", "0 0 1") || !writeTo("/proc/self/gid_map", "0 0 1")
            || !writeTo("/proc/sys/user/max_inotify_watches", "3"))
            ::_exit(77);
        Recorder recorder;
        FileWatcher watcher({root()}, latency, recorder.callbacks());
        watcher.start();
        if (recorder.failures() != QStringList{FileWatcher::outOfWatchesMessage()} || watcher.watchCount() != 3)
            ::_exit(1);
        writeFile(at(QStringLiteral("still-seen.txt")), "x");
        for (int i = 0; i < 200 && !recorder.seen().contains(at(QStringLiteral("still-seen.txt"))); ++i)
            QThread::msleep(10);
        ::_exit(recorder.seen().contains(at(QStringLiteral("still-seen.txt"))) ? 0 : 2);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    ASSERT_TRUE(WIFEXITED(status));
    if (WEXITSTATUS(status) == 77)
        GTEST_SKIP() << "this machine allows no user namespaces";
    EXPECT_EQ(WEXITSTATUS(status), 0) << "1: not reported, 2: the watched root went quiet";
}
