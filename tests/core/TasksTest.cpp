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

TEST(Tasks, CancelledBeforeStartTouchesNothing)
{
    std::atomic_bool ran = false;
    CancellationToken token;
    token.cancel();
    Tasks::run(Tasks::Priority::Utility, [&](const CancellationToken &) { ran = true; }, token);
    Tasks::waitForIdle();
    EXPECT_FALSE(ran);
}

TEST(Tasks, CancelledWhileRunningDropsTheHandBack)
{
    QObject receiver;
    std::atomic_bool started = false;
    bool delivered = false;
    bool finished = false;
    const CancellationToken token = Tasks::run(Tasks::Priority::UserInitiated, [&](const CancellationToken &t) {
        started = true;
        while (!t.isCancelled())
            QThread::msleep(1);
        Tasks::deliver(&receiver, t, [&] { delivered = true; });
        Tasks::deliver(&receiver, [&] { finished = true; });
    });
    ASSERT_TRUE(waitUntil([&] { return started.load(); }));
    token.cancel();
    ASSERT_TRUE(waitUntil([&] { return finished; }));
    EXPECT_FALSE(delivered);
}

// Results arrive on the receiver's thread, and only while it lives.
TEST(Tasks, HandBackGoesToLivingReceiversOnTheirThread)
{
    auto gone = std::make_unique<QObject>();
    QObject *raw = gone.get();
    QObject living;
    std::atomic_bool posted = false;
    bool goneCalled = false;
    QThread *deliveredOn = nullptr;
    Tasks::run(Tasks::Priority::UserInitiated, [&](const CancellationToken &) {
        Tasks::deliver(raw, [&] { goneCalled = true; });
        Tasks::deliver(&living, [&] { deliveredOn = QThread::currentThread(); });
        posted = true;
    });
    // The receiver goes away before the main thread runs its events.
    while (!posted)
        QThread::msleep(1);
    gone.reset();
    ASSERT_TRUE(waitUntil([&] { return deliveredOn != nullptr; }));
    EXPECT_EQ(deliveredOn, living.thread());
    EXPECT_FALSE(goneCalled);
}

// Utility work runs at low CPU and idle I/O priority. A scan's writer runs
// its jobs in order on a thread of its own, one at a time, at the priority
// of the thread that made it; a failure ends the line until it is collected.
TEST(SerialWorker, RunsJobsInOrderBesideItsMakerAndStopsAtAFailure)
{
    std::pair<int, long> makerPriority;
    std::pair<int, long> workerPriority;
    QList<int> done;
    std::atomic_bool running = false;
    std::atomic_bool overlapped = false;
    int jobsAfterFailure = 0;
    Tasks::run(Tasks::Priority::Utility, [&](const CancellationToken &) {
        makerPriority = threadPriority();
        SerialWorker worker;
        for (int i = 0; i < 5; ++i) {
            worker.post([&, i] {
                overlapped = overlapped || running.exchange(true);
                QThread::msleep(5);
                done.append(i);
                workerPriority = threadPriority();
                running = false;
            });
        }
        worker.finish();
        worker.post([] { throw std::runtime_error("disk full"); });
        try {
            worker.post([&] { ++jobsAfterFailure; });
            worker.finish();
        } catch (const std::runtime_error &) {
            done.append(-1);
        }
        worker.post([&] { ++jobsAfterFailure; });
        worker.finish();
    });
    Tasks::waitForIdle();
    EXPECT_EQ(done, (QList<int>{0, 1, 2, 3, 4, -1}));
    EXPECT_FALSE(overlapped.load());
    EXPECT_EQ(jobsAfterFailure, 1);
    EXPECT_GE(makerPriority.first, 10);
    EXPECT_EQ(makerPriority.second, 3) << "idle I/O class";
    EXPECT_EQ(workerPriority, makerPriority);
}

TEST(Debouncer, TenCallsInABurstRunOnceWithTheLastWork)
{
    Debouncer debouncer(30);
    int runs = 0;
    int lastValue = -1;
    for (int i = 0; i < 10; ++i)
        debouncer.call([&, i](const CancellationToken &) { ++runs; lastValue = i; });
    EXPECT_TRUE(debouncer.isPending());
    ASSERT_TRUE(waitUntil([&] { return runs > 0; }));
    QThread::msleep(60);
    QCoreApplication::processEvents();
    EXPECT_EQ(runs, 1);
    EXPECT_EQ(lastValue, 9);
}

// A new call cancels the token of work already started; cancel() stops
// work still waiting.
TEST(Debouncer, ReplacingOrCancellingStopsEarlierWork)
{
    Debouncer debouncer(5);
    CancellationToken first;
    bool firstRan = false;
    debouncer.call([&](const CancellationToken &token) { first = token; firstRan = true; });
    ASSERT_TRUE(waitUntil([&] { return firstRan; }));
    EXPECT_FALSE(first.isCancelled());
    bool secondRan = false;
    debouncer.call([&](const CancellationToken &) { secondRan = true; });
    EXPECT_TRUE(first.isCancelled());
    debouncer.cancel();
    EXPECT_FALSE(debouncer.isPending());
    QThread::msleep(30);
    QCoreApplication::processEvents();
    EXPECT_FALSE(secondRan);
}

} // namespace
