#include "core/Tasks.h"

#include <QCoreApplication>
#include <QMetaObject>
#include <QThread>
#include <QThreadPool>

#include <condition_variable>
#include <exception>
#include <mutex>
#include <thread>
#include <vector>

#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

CancellationToken::CancellationToken()
    : m_cancelled(std::make_shared<std::atomic_bool>(false))
{
}

void CancellationToken::cancel() const
{
    m_cancelled->store(true, std::memory_order_relaxed);
}

bool CancellationToken::isCancelled() const
{
    return m_cancelled->load(std::memory_order_relaxed);
}

CancellationToken CancellationToken::none()
{
    return CancellationToken();
}

namespace Tasks {

namespace {

// The I/O priority interface has no glibc wrapper; these are the kernel's values.
constexpr int ioprioWhoProcess = 1;
constexpr int ioprioClassIdle = 3;
constexpr int ioprioClassShift = 13;

QThreadPool *makePool(Priority priority)
{
    auto *pool = new QThreadPool;
    pool->setMaxThreadCount(std::max(2, QThread::idealThreadCount()));
    pool->setExpiryTimeout(30000);
    if (priority == Priority::Utility)
        pool->setThreadPriority(QThread::LowPriority);
    return pool;
}

} // namespace

QThreadPool *pool(Priority priority)
{
    // Leaked on purpose: pool threads may still be finishing when static
    // destructors run at exit.
    static QThreadPool *utility = makePool(Priority::Utility);
    static QThreadPool *userInitiated = makePool(Priority::UserInitiated);
    return priority == Priority::Utility ? utility : userInitiated;
}

void lowerCurrentThreadPriority()
{
    const auto tid = static_cast<id_t>(::syscall(SYS_gettid));
    // On Linux the nice value belongs to the thread, not the process.
    ::setpriority(PRIO_PROCESS, tid, 10);
    ::syscall(SYS_ioprio_set, ioprioWhoProcess, static_cast<int>(tid), ioprioClassIdle << ioprioClassShift);
}

CancellationToken run(Priority priority, std::function<void(const CancellationToken &)> work,
                      CancellationToken token)
{
    pool(priority)->start([priority, work = std::move(work), token] {
        if (priority == Priority::Utility) {
            thread_local bool lowered = false;
            if (!lowered) {
                lowerCurrentThreadPriority();
                lowered = true;
            }
        }
        if (token.isCancelled())
            return;
        work(token);
    });
    return token;
}

void deliver(QObject *receiver, std::function<void()> fn)
{
    if (!receiver)
        return;
    QPointer<QObject> guard(receiver);
    QMetaObject::invokeMethod(
        receiver,
        [guard, fn = std::move(fn)] {
            if (guard)
                fn();
        },
        Qt::QueuedConnection);
}

void deliver(QObject *receiver, const CancellationToken &token, std::function<void()> fn)
{
    deliver(receiver, [token, fn = std::move(fn)] {
        if (!token.isCancelled())
            fn();
    });
}

void waitForIdle()
{
    pool(Priority::Utility)->waitForDone();
    pool(Priority::UserInitiated)->waitForDone();
}

} // namespace Tasks

struct SerialWorker::Private
{
    std::mutex mutex;
    std::condition_variable changed;
    std::function<void()> job; // the one handed over, not yet taken
    bool busy = false;         // a job is waiting or running
    bool stopping = false;
    std::exception_ptr failure;
    std::thread thread;

    void run(int nice, int ioPriority)
    {
        const auto tid = static_cast<id_t>(::syscall(SYS_gettid));
        ::setpriority(PRIO_PROCESS, tid, nice);
        if (ioPriority >= 0)
            ::syscall(SYS_ioprio_set, Tasks::ioprioWhoProcess, static_cast<int>(tid), ioPriority);
        std::unique_lock lock(mutex);
        for (;;) {
            changed.wait(lock, [this] { return job || stopping; });
            if (!job)
                return;
            const std::function<void()> current = std::move(job);
            job = nullptr;
            lock.unlock();
            std::exception_ptr thrown;
            try {
                current();
            } catch (...) {
                thrown = std::current_exception();
            }
            lock.lock();
            if (thrown && !failure)
                failure = thrown;
            busy = false;
            changed.notify_all();
        }
    }

    // Waits until no job is waiting or running, then rethrows a failure.
    void waitIdle(std::unique_lock<std::mutex> &lock)
    {
        changed.wait(lock, [this] { return !busy; });
        if (failure)
            std::rethrow_exception(std::exchange(failure, nullptr));
    }
};

SerialWorker::SerialWorker()
    : d(std::make_unique<Private>())
{
    const auto tid = static_cast<id_t>(::syscall(SYS_gettid));
    errno = 0;
    int nice = ::getpriority(PRIO_PROCESS, tid);
    if (nice == -1 && errno != 0)
        nice = 0;
    const auto ioPriority = static_cast<int>(::syscall(SYS_ioprio_get, Tasks::ioprioWhoProcess, static_cast<int>(tid)));
    d->thread = std::thread([this, nice, ioPriority] { d->run(nice, ioPriority); });
}

SerialWorker::~SerialWorker()
{
    {
        std::unique_lock lock(d->mutex);
        d->changed.wait(lock, [this] { return !d->busy; });
        d->stopping = true;
    }
    d->changed.notify_all();
    d->thread.join();
}

void SerialWorker::post(std::function<void()> job)
{
    std::unique_lock lock(d->mutex);
    d->waitIdle(lock);
    d->job = std::move(job);
    d->busy = true;
    d->changed.notify_all();
}

void SerialWorker::finish()
{
    std::unique_lock lock(d->mutex);
    d->waitIdle(lock);
}

struct CallThreads::Private
{
    struct Call
    {
        std::thread thread;
        std::shared_ptr<std::atomic_bool> done;
    };
    std::vector<Call> calls;
};

CallThreads::CallThreads()
    : d(std::make_unique<Private>())
{
}

CallThreads::~CallThreads()
{
    for (Private::Call &call : d->calls)
        call.thread.join();
}

void CallThreads::start(std::function<void()> work)
{
    std::erase_if(d->calls, [](Private::Call &call) {
        if (!call.done->load())
            return false;
        call.thread.join();
        return true;
    });
    auto done = std::make_shared<std::atomic_bool>(false);
    d->calls.push_back({std::thread([work = std::move(work), done] {
                            work();
                            done->store(true);
                        }),
                        done});
}

Debouncer::Debouncer(int intervalMs, QObject *parent)
    : QObject(parent)
{
    // A child, so that tests can find the timer and drive it.
    m_timer.setParent(this);
    m_timer.setSingleShot(true);
    m_timer.setInterval(intervalMs);
    // A pause the user sees end: on time, not up to 5 % late as a coarse
    // timer may be.
    m_timer.setTimerType(Qt::PreciseTimer);
    connect(&m_timer, &QTimer::timeout, this, [this] {
        auto work = std::move(m_work);
        m_work = nullptr;
        if (work && !m_token.isCancelled())
            work(m_token);
    });
}

void Debouncer::call(std::function<void(const CancellationToken &)> work)
{
    m_token.cancel();
    m_token = CancellationToken();
    m_work = std::move(work);
    m_timer.start();
}

void Debouncer::cancel()
{
    m_timer.stop();
    m_work = nullptr;
    m_token.cancel();
}

bool Debouncer::isPending() const
{
    return m_timer.isActive();
}

int Debouncer::interval() const
{
    return m_timer.interval();
}
