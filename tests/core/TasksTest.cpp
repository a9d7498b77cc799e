#include "core/Tasks.h"
#include "support/TestEnvironment.h"

#include <QCoreApplication>
#include <QThread>

#include <gtest/gtest.h>

#include <atomic>
#include <memory>

#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

using TestEnvironment::waitUntil;

namespace {

// The calling thread's nice value and I/O priority class.
std::pair<int, long> threadPriority()
{
    const auto tid = static_cast<id_t>(::syscall(SYS_gettid));
    return {::getpriority(PRIO_PROCESS, tid), ::syscall(SYS_ioprio_get, 1, static_cast<int>(tid)) >> 13};
}

// Results arrive on the receiver's thread, and only while it lives and the
// work's token holds.
TEST(Tasks, HandBackReachesOnlyLivingReceiversOfWorkStillWanted)
{
    auto gone = std::make_unique<QObject>();
    QObject *raw = gone.get();
    QObject living;
    std::atomic_bool started = false, posted = false;
    bool handedBackCancelled = false, goneCalled = false;
    QThread *deliveredOn = nullptr;
    const CancellationToken token = Tasks::run(Tasks::Priority::UserInitiated, [&](const CancellationToken &t) {
        started = true;
        while (!t.isCancelled())
            QThread::msleep(1);
        Tasks::deliver(&living, t, [&] { handedBackCancelled = true; });
        Tasks::deliver(raw, [&] { goneCalled = true; });
        Tasks::deliver(&living, [&] { deliveredOn = QThread::currentThread(); });
        posted = true;
    });
    ASSERT_TRUE(waitUntil([&] { return started.load(); }));
    token.cancel();
    // The receiver goes away before the main thread runs its events.
    while (!posted)
        QThread::msleep(1);
    gone.reset();
    EXPECT_TRUE(waitUntil([&] { return deliveredOn == living.thread(); }));
    EXPECT_FALSE(handedBackCancelled || goneCalled);
}

// Utility work runs at low CPU and idle I/O priority. A scan's writer runs
// its jobs in order on a thread of its own, one at a time, at the priority
// of the thread that made it; a failure ends the line until it is collected.
TEST(SerialWorker, RunsJobsInOrderBesideItsMakerAndStopsAtAFailure)
{
    std::pair<int, long> makerPriority, workerPriority;
    QList<int> done;
    int jobsAfterFailure = 0;
    Tasks::run(Tasks::Priority::Utility, [&](const CancellationToken &) {
        makerPriority = threadPriority();
        SerialWorker worker;
        for (int i = 0; i < 5; ++i)
            worker.post([&, i] { QThread::msleep(5); done.append(i); workerPriority = threadPriority(); });
        worker.finish();
        worker.post([] { throw std::runtime_error("disk full"); });
        EXPECT_THROW(worker.post([&] { ++jobsAfterFailure; }); worker.finish(), std::runtime_error);
        worker.post([&] { ++jobsAfterFailure; });
        worker.finish();
    });
    Tasks::waitForIdle();
    EXPECT_EQ(done, (QList<int>{0, 1, 2, 3, 4}));
    EXPECT_EQ(jobsAfterFailure, 1);
    EXPECT_TRUE(makerPriority.first >= 10 && makerPriority.second == 3) << "low CPU priority, idle I/O class";
    EXPECT_EQ(workerPriority, makerPriority);
}

// A burst of calls runs once with the last work; a new call cancels the token
// of work already started, and cancel() stops work still waiting.
TEST(Debouncer, RunsTheLastOfABurstAndStopsWhatItReplaces)
{
    Debouncer debouncer(30);
    int runs = 0, lastValue = -1;
    CancellationToken started;
    for (int i = 0; i < 10; ++i)
        debouncer.call([&, i](const CancellationToken &token) { ++runs; lastValue = i; started = token; });
    ASSERT_TRUE(waitUntil([&] { return runs > 0; }));
    QThread::msleep(60);
    QCoreApplication::processEvents();
    EXPECT_EQ(std::pair(runs, lastValue), std::pair(1, 9));
    EXPECT_FALSE(started.isCancelled());

    debouncer.call([&](const CancellationToken &) { ++runs; });
    EXPECT_TRUE(started.isCancelled());
    debouncer.cancel();
    EXPECT_FALSE(debouncer.isPending());
    QThread::msleep(60);
    QCoreApplication::processEvents();
    EXPECT_EQ(runs, 1);
}

} // namespace
