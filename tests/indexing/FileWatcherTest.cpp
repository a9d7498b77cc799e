// The watches a FileWatcher holds and the troubles it reports; what it
// reports of file changes is followed end to end in IndexerTest.
#include "indexing/FileWatcher.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QThread>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <future>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

using TestEnvironment::waitUntil;

TEST(FileWatcherTest, WatchesEveryFolderButHiddenSkippedOrDepartedOnes)
{
    QTemporaryDir root;
    QTemporaryDir outside;
    for (const char *folder : {"a/b", "node_modules/pkg", ".hidden", "leaving/sub"})
        QDir(root.path()).mkpath(QString::fromUtf8(folder));
    FileWatcher watcher({root.path()}, {}, {}, [](const QString &name) { return name == "node_modules"; });
    watcher.start();
    EXPECT_EQ(watcher.watchCount(), 5);
    ASSERT_TRUE(QDir().rename(root.path() + "/leaving", outside.path() + "/left"));
    EXPECT_TRUE(waitUntil([&] { return watcher.watchCount() == 3; }, 5000)) << watcher.watchCount();
    watcher.stop();
    EXPECT_EQ(watcher.watchCount(), 0);
}

// The handler holds the watcher's thread while more events happen than the
// kernel queues.
TEST(FileWatcherTest, AQueueThatOverflowedIsReported)
{
    QFile limit(QStringLiteral("/proc/sys/fs/inotify/max_queued_events"));
    const int queued = limit.open(QIODevice::ReadOnly) ? limit.readAll().trimmed().toInt() : 0;
    if (queued <= 0 || queued > 200000)
        GTEST_SKIP() << "the kernel's queue is too large to fill here";
    QTemporaryDir root;
    std::atomic_bool holding = false;
    std::atomic_int overflows = 0;
    std::promise<void> release;
    const std::shared_future<void> released = release.get_future().share();
    FileWatcher watcher({root.path()}, {[&](const QStringList &) {
                                            holding = true;
                                            released.wait();
                                        },
                                        [&] { ++overflows; }, {}});
    watcher.start();
    QFile first(root.path() + "/first");
    QFile second(root.path() + "/second");
    ASSERT_TRUE(first.open(QIODevice::WriteOnly) && second.open(QIODevice::WriteOnly));
    const bool held = waitUntil([&] { return holding.load(); }, 5000);
    // Writes to two files in turn, so that the kernel merges none of them.
    for (int i = 0; held && i < queued; ++i) {
        first.write("x");
        first.flush();
        second.write("x");
        second.flush();
    }
    release.set_value();
    ASSERT_TRUE(held);
    EXPECT_TRUE(waitUntil([&] { return overflows > 0; }, 5000));
}

// In a user namespace of its own the test can lower the limit on watches
// without touching the machine's.
TEST(FileWatcherTest, RunningOutOfWatchesIsReportedAndWatchingGoesOn)
{
    QTemporaryDir root;
    for (int i = 0; i < 6; ++i)
        QDir(root.path()).mkpath(QStringLiteral("f%1").arg(i));
    const QString file = root.path() + "/still-seen.txt";
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
        std::atomic_bool seen = false;
        QStringList failures; // written during start(), on this thread
        FileWatcher watcher({root.path()}, {[&](const QStringList &paths) { seen = seen || paths.contains(file); },
                                            {}, [&](const QString &message) { failures.append(message); }});
        watcher.start();
        if (failures != QStringList{FileWatcher::outOfWatchesMessage()} || watcher.watchCount() != 3)
            ::_exit(1);
        TestEnvironment::writeFile(file, "x");
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
