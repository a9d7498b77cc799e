// The loop that reads the text of the files waiting for it: batches of the
// text queue, read by two counted utility tasks that claim files in turn, one
// file each in flight on its own extraction slot. Neither task waits for the
// other: whoever finishes a batch's last file carries the loop on.
//
// schedule() and stop() may be called from any thread. `m_lock` guards the
// pass's state and is never held across a database call or an extraction.
#pragma once

#include "core/Tasks.h"
#include "indexing/ExtractionWorker.h"

#include <QObject>

#include <functional>
#include <memory>
#include <mutex>

class CountedTasks;
class IndexStore;
class IndexingStatus;
enum class TextState;

class TextLoop : public QObject
{
    Q_OBJECT
public:
    using Extractor = std::function<ExtractionWorker::Result(const FileRecord &, const CancellationToken &)>;

    static constexpr int batchSize = 12;
    static constexpr int inFlight = 2;

    // Reads with extractor when it is set, else with worker processes.
    TextLoop(IndexStore &store, IndexingStatus &status, CountedTasks &tasks, const ExtractionWorker::Options &worker,
             Extractor extractor);
    ~TextLoop() override;

    // Starts a pass, or has the running one go once more when it ends,
    // however many times this is called meanwhile.
    void schedule();
    // Cancels the running pass; the files it was reading stay in the queue.
    void stop();
    bool isRunning() const;

Q_SIGNALS:
    // One drain of the queue came to its end: the queue was found empty, or
    // the pass was stopped or failed.
    void drainFinished();
    // The loop stopped running by itself.
    void ended();
    void failed(const QString &error);

private:
    struct Batch;

    void drain(const CancellationToken &token);
    bool extractBatch(Batch &batch, const CancellationToken &token);
    bool finishBatch(const Batch &batch, const CancellationToken &token);
    bool endPass(const CancellationToken &token);
    void extractOne(const FileRecord &record, Batch &batch, const CancellationToken &token);
    // Takes a file out of the queue until it changes, in the first state the
    // library accepts.
    void markTextState(qint64 id, std::initializer_list<TextState> states);

    IndexStore &m_store;
    IndexingStatus &m_status;
    CountedTasks &m_tasks;
    std::unique_ptr<ExtractionSlots> m_slots;
    Extractor m_extract;

    mutable std::mutex m_lock;
    bool m_running = false;
    bool m_again = false;
    // Cancelled by stop(): a stopped pass leaves the state to its successor.
    CancellationToken m_token;
};
