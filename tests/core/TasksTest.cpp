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

TEST(Tasks, ResultsArriveOnTheReceiversThread)
{
    QObject receiver;
    QThread *deliveredOn = nullptr;
    Tasks::run(Tasks::Priority::UserInitiated, [&](const CancellationToken &) {
        Tasks::deliver(&receiver, [&] { deliveredOn = QThread::currentThread(); });
    });
    ASSERT_TRUE(waitUntil([&] { return deliveredOn != nullptr; }));
    EXPECT_EQ(deliveredOn, receiver.thread());
}

TEST(Tasks, AReceiverThatIsGoneGetsNothing)
{
    auto receiver = std::make_unique<QObject>();
    QObject *raw = receiver.get();
    std::atomic_bool posted = false;
    bool called = false;
    QObject sentinel;
    bool sentinelCalled = false;
    Tasks::run(Tasks::Priority::UserInitiated, [&](const CancellationToken &) {
        Tasks::deliver(raw, [&] { called = true; });
        Tasks::deliver(&sentinel, [&] { sentinelCalled = true; });
        posted = true;
    });
    // The receiver goes away before the main thread runs its events.
    while (!posted)
        QThread::msleep(1);
    receiver.reset();
    ASSERT_TRUE(waitUntil([&] { return sentinelCalled; }));
    EXPECT_FALSE(called);
}

TEST(Tasks, UtilityThreadsRunAtLowCpuAndIdleIoPriority)
{
    std::atomic_int nice = -100;
    std::atomic_long ioPriority = -1;
    Tasks::run(Tasks::Priority::Utility, [&](const CancellationToken &) {
        const auto tid = static_cast<id_t>(::syscall(SYS_gettid));
        errno = 0;
        nice = ::getpriority(PRIO_PROCESS, tid);
        ioPriority = ::syscall(SYS_ioprio_get, 1, static_cast<int>(tid));
    });
    Tasks::waitForIdle();
    EXPECT_GE(nice.load(), 10);
    EXPECT_EQ(ioPriority.load() >> 13, 3) << "idle I/O class";
}

// A scan's writer: jobs in order on a thread of its own, one at a time, at
// the priority of the thread that made it; a failure ends the line.
TEST(SerialWorker, RunsJobsInOrderBesideItsMakerAndStopsAtAFailure)
{
    std::atomic_int nice = -100;
    std::atomic_long ioPriority = -1;
    QList<int> done;
    std::atomic_bool running = false;
    std::atomic_bool overlapped = false;
    int jobsAfterFailure = 0;
    Tasks::run(Tasks::Priority::Utility, [&](const CancellationToken &) {
        SerialWorker worker;
        for (int i = 0; i < 5; ++i) {
            worker.post([&, i] {
                overlapped = overlapped || running.exchange(true);
                QThread::msleep(5);
                done.append(i);
                const auto tid = static_cast<id_t>(::syscall(SYS_gettid));
                nice = ::getpriority(PRIO_PROCESS, tid);
                ioPriority = ::syscall(SYS_ioprio_get, 1, static_cast<int>(tid));
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
        worker.post([&] { ++jobsAfterFailure; }); // the line goes on once the failure is collected
        worker.finish();
    });
    Tasks::waitForIdle();
    EXPECT_EQ(done, (QList<int>{0, 1, 2, 3, 4, -1}));
    EXPECT_FALSE(overlapped.load());
    EXPECT_EQ(jobsAfterFailure, 1);
    EXPECT_GE(nice.load(), 10);
    EXPECT_EQ(ioPriority.load() >> 13, 3) << "idle I/O class, as its maker";
}

TEST(Debouncer, TenCallsInABurstRunOnceWithTheLastWork)
{
    Debouncer debouncer(30);
    int runs = 0;
    int lastValue = -1;
    for (int i = 0; i < 10; ++i)
        debouncer.call([&, i](const CancellationToken &) {
            ++runs;
            lastValue = i;
        });
    EXPECT_TRUE(debouncer.isPending());
    ASSERT_TRUE(waitUntil([&] { return runs > 0; }));
    QThread::msleep(60);
    QCoreApplication::processEvents();
    EXPECT_EQ(runs, 1);
    EXPECT_EQ(lastValue, 9);
}

TEST(Debouncer, ReplacingCancelsTheTokenOfWorkAlreadyStarted)
{
    Debouncer debouncer(5);
    CancellationToken first;
    bool firstRan = false;
    debouncer.call([&](const CancellationToken &token) {
        first = token;
        firstRan = true;
    });
    ASSERT_TRUE(waitUntil([&] { return firstRan; }));
    EXPECT_FALSE(first.isCancelled());
    debouncer.call([](const CancellationToken &) {});
    EXPECT_TRUE(first.isCancelled()) << "background work of the replaced call can see it was superseded";
}

TEST(Debouncer, CancelStopsPendingWork)
{
    Debouncer debouncer(5);
    bool ran = false;
    debouncer.call([&](const CancellationToken &) { ran = true; });
    debouncer.cancel();
    QThread::msleep(30);
    QCoreApplication::processEvents();
    EXPECT_FALSE(ran);
    EXPECT_FALSE(debouncer.isPending());
}
