// A program run by Larder on the side: the text extraction worker and the
// helper programs that read old word-processor formats. Made with fork and
// exec rather than QProcess, so that any thread may drive it without an event
// loop, and so that limits such as the address-space cap apply in the child
// before the program starts.
#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <chrono>
#include <functional>
#include <optional>
#include <sys/types.h>

class ChildProcess
{
public:
    using Clock = std::chrono::steady_clock;

    struct Setup
    {
        QString program; // an absolute path, or a name looked up on PATH
        QStringList arguments;
        // Added to (or replacing in) the environment of this process.
        QStringList environment; // "NAME=value"
        // RLIMIT_AS of the child, in bytes; absent leaves the limit as it is.
        std::optional<qint64> addressSpaceLimit;
        // Whether the child's standard input is connected to us (the worker)
        // or reads from /dev/null (helper programs).
        enum class Input { connected, none } input = Input::none;
    };

    enum class ReadStatus { data, endOfFile, timedOut, cancelled, failed };

    ChildProcess() = default;
    ~ChildProcess();
    ChildProcess(const ChildProcess &) = delete;
    ChildProcess &operator=(const ChildProcess &) = delete;

    // Starts the program. False when it can't be found or the fork fails;
    // a program that exists but fails to run shows as an early end of file.
    bool start(const Setup &setup);
    bool isRunning() const { return m_pid > 0; }
    pid_t pid() const { return m_pid; }

    // Writes all bytes to the child's standard input. False when the child
    // is gone.
    bool write(const QByteArray &bytes);

    // Reads what is available, at most maxBytes, waiting until the deadline.
    // The cancellation test, when given, is polled about ten times a second.
    ReadStatus read(QByteArray &into, qint64 maxBytes, Clock::time_point deadline,
                    const std::function<bool()> &isCancelled = {});
    // Reads exactly count bytes, or fails with the reason.
    ReadStatus readExactly(QByteArray &into, qint64 count, Clock::time_point deadline,
                           const std::function<bool()> &isCancelled = {});

    // Ends the child at once (SIGKILL) and reaps it.
    void kill();
    // Closes our end of the channel and gives the child a moment to leave on
    // its own before it is killed.
    void finish(std::chrono::milliseconds grace = std::chrono::milliseconds(1000));

    // Runs a program to its end and returns its standard output, cut at
    // outputCap bytes (the child is then ended). Nothing when the program
    // can't start or runs past the time limit.
    static std::optional<QByteArray> output(const Setup &setup, std::chrono::milliseconds timeLimit,
                                            qint64 outputCap);

private:
    void closeChannel();

    pid_t m_pid = -1;
    int m_channel = -1;
};
