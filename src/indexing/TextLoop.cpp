#include "indexing/TextLoop.h"

#include "core/Errors.h"
#include "indexing/CountedTasks.h"
#include "indexing/IndexingStatus.h"
#include "store/PassageChunker.h"
#include "store/IndexStore.h"

namespace {

QString unavailableWorkerMessage()
{
    return QStringLiteral("Larder couldn't start its text reader, so the text inside files isn't read for now.");
}

} // namespace

// The records of one batch, claimed one by one by the loop's task and its
// helper.
struct TextLoop::Batch
{
    explicit Batch(QList<FileRecord> list)
        : records(std::move(list))
        , remaining(int(records.size()))
    {
    }

    const QList<FileRecord> records;
    std::atomic_int next = 0;
    std::atomic_int remaining;
    std::atomic_bool unavailable = false;
};

TextLoop::TextLoop(IndexStore &store, IndexingStatus &status, CountedTasks &tasks,
                   const ExtractionWorker::Options &worker, Extractor extractor)
    : m_store(store)
    , m_status(status)
    , m_tasks(tasks)
    , m_extract(std::move(extractor))
{
    if (m_extract)
        return;
    m_slots = std::make_unique<ExtractionSlots>(inFlight, worker);
    m_extract = [slots = m_slots.get()](const FileRecord &record, const CancellationToken &token) {
        return slots->extract(record, token);
    };
}

TextLoop::~TextLoop() = default;

void TextLoop::schedule()
{
    CancellationToken token;
    {
        std::lock_guard guard(m_lock);
        if (m_running) {
            m_again = true;
            return;
        }
        m_running = true;
        m_again = false;
        m_token = token;
    }
    m_tasks.launch([this](const CancellationToken &token) { drain(token); }, token);
}

void TextLoop::stop()
{
    std::lock_guard guard(m_lock);
    m_token.cancel();
    m_running = false;
    m_again = false;
}

bool TextLoop::isRunning() const
{
    std::lock_guard guard(m_lock);
    return m_running;
}

void TextLoop::drain(const CancellationToken &token)
{
    for (;;) {
        std::shared_ptr<Batch> batch;
        bool failedToRead = false;
        if (!token.isCancelled()) {
            try {
                QList<FileRecord> records = m_store.textQueue().next(batchSize);
                const qint64 count = m_store.textQueue().count();
                const IndexingPhase phase = count < 1 ? IndexingPhase::ready() : IndexingPhase::reading(count);
                Tasks::deliver(this, [this, phase] { m_status.setPhase(phase); });
                if (!records.isEmpty())
                    batch = std::make_shared<Batch>(std::move(records));
            } catch (const DescribedError &error) {
                // The pass ends and the phase stays as it is.
                Tasks::deliver(this, [this, description = error.description()] { Q_EMIT failed(description); });
                failedToRead = true;
            }
        }
        if (!batch) {
            // A cancelled pass ends here too, so "ready" doesn't prove an
            // empty queue.
            Tasks::deliver(this, [this, failedToRead] {
                if (!failedToRead)
                    m_status.setPhase(IndexingPhase::ready());
                Q_EMIT drainFinished();
            });
            if (endPass(token))
                continue;
            return;
        }

        // Two files in flight: this task and a helper take records in turn.
        m_tasks.launch(
            [this, batch](const CancellationToken &token) {
                if (extractBatch(*batch, token) && finishBatch(*batch, token))
                    drain(token);
            },
            token);
        if (!extractBatch(*batch, token) || !finishBatch(*batch, token))
            return;
    }
}

// True for the task that finished the batch's last record.
bool TextLoop::extractBatch(Batch &batch, const CancellationToken &token)
{
    for (;;) {
        const int index = batch.next++;
        if (index >= batch.records.size())
            return false;
        extractOne(batch.records.at(index), batch, token);
        if (--batch.remaining == 0)
            return true;
    }
}

// After the last record of a batch. True when the loop goes on.
bool TextLoop::finishBatch(const Batch &batch, const CancellationToken &token)
{
    Tasks::deliver(this, [this] { m_status.bumpRevision(); });
    if (!batch.unavailable)
        return true;
    // Without a worker the same files would come back forever.
    Tasks::deliver(this, [this] { Q_EMIT failed(unavailableWorkerMessage()); });
    return endPass(token);
}

// The end of a drain: true when another pass was asked for meanwhile.
bool TextLoop::endPass(const CancellationToken &token)
{
    {
        std::lock_guard guard(m_lock);
        // Stopped: the state belongs to the next pass now.
        if (token.isCancelled())
            return false;
        if (m_again) {
            m_again = false;
            return true;
        }
        m_running = false;
    }
    Tasks::deliver(this, [this] { Q_EMIT ended(); });
    return false;
}

void TextLoop::extractOne(const FileRecord &record, Batch &batch, const CancellationToken &token)
{
    const ExtractionWorker::Result result = m_extract(record, token);
    switch (result.outcome) {
    case ExtractionWorker::Outcome::cancelled:
        return; // not judged: the file stays in the queue
    case ExtractionWorker::Outcome::unavailable:
        batch.unavailable = true;
        return;
    case ExtractionWorker::Outcome::crashed:
    case ExtractionWorker::Outcome::timedOut:
        markTextState(record.id, {TextState::NoText, TextState::Failed});
        return;
    case ExtractionWorker::Outcome::extracted:
        break;
    }
    if (!result.content.text || result.content.text->isEmpty()) {
        markTextState(record.id, {TextState::NoText, TextState::Failed});
        return;
    }
    try {
        m_store.textQueue().setText(record, splitIntoPassages(*result.content.text), result.content.pages);
    } catch (const DescribedError &) {
        markTextState(record.id, {TextState::Failed});
    }
}

void TextLoop::markTextState(qint64 id, std::initializer_list<TextState> states)
{
    for (const TextState state : states) {
        try {
            m_store.textQueue().setState(id, state);
            return;
        } catch (const DescribedError &) {
            // The next state is tried; an error on the last is dropped.
        }
    }
}
