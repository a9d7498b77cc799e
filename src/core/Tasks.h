// Background work for the whole program: two thread pools, a cancellation
// token, the hand-back of results to a receiver on its own thread, and the
// debounce used by the models. Everything that runs off the main thread goes
// through here.
#pragma once

#include <QObject>
#include <QPointer>
#include <QTimer>

#include <atomic>
#include <functional>
#include <memory>

class QThreadPool;

// A shared flag that a task polls at its cancellation points. Copies share the
// flag, so the owner keeps one copy to cancel and the task another to poll.
class CancellationToken
{
public:
    CancellationToken();

    void cancel() const;
    bool isCancelled() const;

    // A token that is never cancelled, for synchronous callers.
    static CancellationToken none();

private:
    std::shared_ptr<std::atomic_bool> m_cancelled;
};

namespace Tasks {

enum class Priority {
    // Scans, text extraction, event flushes: low CPU priority, idle I/O.
    Utility,
    // Store reads behind the screens, searches, duplicate scans.
    UserInitiated,
};

QThreadPool *pool(Priority priority);

// Runs work on the pool of the given priority. The token is the one the work
// polls; the returned copy cancels it. Work must not block its pool thread
// waiting for another task of the same pool.
CancellationToken run(Priority priority, std::function<void(const CancellationToken &)> work,
                      CancellationToken token = CancellationToken());

// Queues fn to run on the receiver's thread. The receiver is held weakly: if
// it is gone by then, fn is dropped without running.
void deliver(QObject *receiver, std::function<void()> fn);

// Like deliver, and fn is also dropped when the token was cancelled before it
// ran, so a replaced task never touches state.
void deliver(QObject *receiver, const CancellationToken &token, std::function<void()> fn);

// Waits until both pools are idle. For tests, benchmarks and the command line.
void waitForIdle();

// Applies low CPU priority and idle I/O priority to the calling thread.
void lowerCurrentThreadPriority();

} // namespace Tasks

// A thread of its own that runs the jobs handed to it one at a time, in
// order, at the CPU and I/O priority of the thread that made it: a producer
// prepares the next piece of work while the last is being written. One job
// runs and none waits, so handing over the next waits for the last to end.
// A job that throws ends the line: later jobs are dropped, and the exception
// comes back from the next hand-over or from finish().
class SerialWorker
{
public:
    SerialWorker();
    // Waits for the running job; a failure nobody collected is dropped.
    ~SerialWorker();

    SerialWorker(const SerialWorker &) = delete;
    SerialWorker &operator=(const SerialWorker &) = delete;

    void post(std::function<void()> job);
    // Waits until the last job has ended.
    void finish();

private:
    struct Private;
    std::unique_ptr<Private> d;
};

// Threads of their own for calls that wait on the network for seconds, so
// that they never hold a pool thread that store reads need. Finished threads
// are reaped as new ones start; the destructor waits for those still
// running, so an owner cancels their tokens first and outlives the objects
// the calls use.
class CallThreads
{
public:
    CallThreads();
    ~CallThreads();

    CallThreads(const CallThreads &) = delete;
    CallThreads &operator=(const CallThreads &) = delete;

    void start(std::function<void()> work);

private:
    struct Private;
    std::unique_ptr<Private> d;
};

// Cancel-and-replace delay owned by a model: each call restarts the wait and
// cancels the token handed to the previous call's work, so only the last of a
// burst of calls runs, and work it started in the background can tell that it
// was superseded.
class Debouncer : public QObject
{
    Q_OBJECT
public:
    explicit Debouncer(int intervalMs, QObject *parent = nullptr);

    void call(std::function<void(const CancellationToken &)> work);
    void cancel();
    bool isPending() const;
    int interval() const;

private:
    QTimer m_timer;
    std::function<void(const CancellationToken &)> m_work;
    CancellationToken m_token;
};
