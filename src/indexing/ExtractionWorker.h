// Text extraction in a process of its own. Readers of PDFs, images and office
// files run on untrusted bytes; a crash, a runaway allocation or an endless
// loop in one of them must cost that one file its text, never the program.
//
// ExtractionWorker is the parent side of one worker process (one extraction
// slot): it starts `larder extract-worker`, sends it one file at a time,
// applies the per-file time limit, and ends and restarts the process after a
// crash or a stall. The child runs under an address-space cap.
//
// Protocol, over the child's standard input and output: frames of a 4-byte
// big-endian length and a QDataStream payload. The child first sends a hello
// frame; then for each request frame (path, extension, MIME type, kind, size,
// screenshot flag) it answers one frame (text or none, pages or none).
//
// Test switch: LARDER_EXTRACT_FAULT="crash:PATTERN", "hang:PATTERN" or
// "memory:PATTERN" (more than one joined by ";") makes the worker crash,
// stall, or try to take 3 GiB of memory on a file whose name matches the
// wildcard PATTERN, to prove the limits.
#pragma once

#include "core/Tasks.h"
#include "indexing/DocumentText.h"
#include "platform/ChildProcess.h"

#include <QStringList>

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <vector>

class ExtractionWorker
{
public:
    struct Options
    {
        // The larder program; empty means the running program.
        QString program;
        // Extra "NAME=value" entries for the worker's environment.
        QStringList environment;
        std::chrono::milliseconds timeLimit{30'000};
        std::chrono::milliseconds startTimeLimit{10'000};
        qint64 addressSpaceLimit = 2LL * 1024 * 1024 * 1024;
    };

    enum class Outcome {
        extracted, // the worker answered (with text or without)
        crashed, // the worker died on this file
        timedOut, // the worker ran past the time limit on this file
        cancelled, // the caller's token was cancelled; the file was not judged
        unavailable, // no worker could be started
    };

    struct Result
    {
        ExtractedText content;
        Outcome outcome = Outcome::extracted;
    };

    ExtractionWorker();
    explicit ExtractionWorker(Options options);
    ~ExtractionWorker();
    ExtractionWorker(const ExtractionWorker &) = delete;
    ExtractionWorker &operator=(const ExtractionWorker &) = delete;

    // Extracts one file in the worker process. Safe from any thread; calls on
    // one worker run one after the other. A crash or a stall gives no text,
    // and the next call starts a fresh process.
    Result extract(const FileRecord &record, const CancellationToken &token = CancellationToken::none());

    // How many worker processes this slot has started so far.
    int startCount() const;

    // The child's side: serves requests on standard input and output until
    // the parent closes them. Returns the exit status.
    static int serve();

    static constexpr const char *faultVariable = "LARDER_EXTRACT_FAULT";

private:
    bool ensureStarted();
    void end(Outcome reason);

    Options m_options;
    mutable std::mutex m_mutex;
    ChildProcess m_child;
    int m_startCount = 0;
};

// The extraction slots of indexing: a fixed number of workers, each its own
// process, handed to callers one at a time. With as many callers as slots,
// that many files are really in flight.
class ExtractionSlots
{
public:
    explicit ExtractionSlots(int count = 2, const ExtractionWorker::Options &options = {});
    ~ExtractionSlots();

    // Extracts with a free worker, waiting for one while all are busy.
    ExtractionWorker::Result extract(const FileRecord &record,
                                     const CancellationToken &token = CancellationToken::none());

    int count() const { return int(m_workers.size()); }
    // Worker processes started over all slots.
    int startCount() const;

private:
    std::vector<std::unique_ptr<ExtractionWorker>> m_workers;
    std::mutex m_mutex;
    std::condition_variable m_released;
    std::vector<ExtractionWorker *> m_free;
};
