#include "indexing/Indexer.h"

#include "core/Errors.h"
#include "indexing/FileKinds.h"
#include "indexing/FileScanner.h"
#include "indexing/FileWatcher.h"
#include "indexing/IndexingReport.h"
#include "indexing/IndexingStatus.h"
#include "indexing/PassageChunker.h"
#include "store/IndexStore.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>

namespace {

double now()
{
    return double(QDateTime::currentMSecsSinceEpoch()) / 1000.0;
}

qint64 monotonicMs()
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

using FileKinds::isPackageName;

// The name a root shows in the status line.
QString displayName(const QString &root)
{
    const QString name = QFileInfo(root).fileName();
    return name.isEmpty() ? root : name;
}

QString unavailableWorkerMessage()
{
    return QStringLiteral("Larder couldn't start its text reader, so the text inside files isn't read for now.");
}

} // namespace

// The records of one text batch, claimed one by one by the loop's task and
// its helper. Whoever finishes the last record carries the loop on.
struct Indexer::TextBatch
{
    explicit TextBatch(QList<FileRecord> list)
        : records(std::move(list))
        , remaining(int(records.size()))
    {
    }

    const QList<FileRecord> records;
    std::atomic_int next = 0;
    std::atomic_int remaining;
    std::atomic_bool unavailable = false;
};

Indexer::Indexer(IndexStore &store, IndexingStatus &status, QObject *parent)
    : Indexer(store, status, Options(), parent)
{
}

Indexer::Indexer(IndexStore &store, IndexingStatus &status, Options options, QObject *parent)
    : QObject(parent)
    , m_store(store)
    , m_status(status)
    , m_options(std::move(options))
{
    if (m_options.extractor) {
        m_extract = m_options.extractor;
    } else {
        m_slots = std::make_unique<ExtractionSlots>(extractionsInFlight, m_options.worker);
        m_extract = [slots = m_slots.get()](const FileRecord &record, const CancellationToken &token) {
            return slots->extract(record, token);
        };
    }
    m_flushTimer.setSingleShot(true);
    connect(&m_flushTimer, &QTimer::timeout, this, &Indexer::launchFlush);
}

Indexer::~Indexer()
{
    m_lifetime.cancel();
    m_shuttingDown = true;
    stop();
    waitForTasks();
}

// ---- tasks ----

void Indexer::launch(std::function<void(const CancellationToken &)> work, const CancellationToken &token)
{
    {
        std::lock_guard guard(m_tasksLock);
        ++m_runningTasks;
    }
    // The pool's own token is never cancelled, so the work always runs and
    // the count always comes down; the work polls the real token.
    Tasks::run(Tasks::Priority::Utility, [this, work = std::move(work), token](const CancellationToken &) {
        work(token);
        taskEnded();
    });
}

void Indexer::taskEnded()
{
    std::lock_guard guard(m_tasksLock);
    if (--m_runningTasks == 0)
        m_tasksEnded.notify_all();
}

void Indexer::waitForTasks()
{
    // No task waits for the main thread, so waiting here can't deadlock.
    std::unique_lock lock(m_tasksLock);
    m_tasksEnded.wait(lock, [this] { return m_runningTasks == 0; });
}

// ---- start and stop ----

void Indexer::start(const QStringList &roots)
{
    if (m_shuttingDown)
        return;
    stop();
    QStringList cleaned;
    for (const QString &root : roots)
        cleaned.append(QDir::cleanPath(QDir(root).absolutePath()));
    {
        std::lock_guard guard(m_lock);
        m_roots = cleaned;
    }
    updateReport([&](IndexingReport &report) { report = IndexingReport{cleaned, now(), {}, {}, {}, 0}; });
    m_scanToken = CancellationToken();
    m_scanning = true;
    Q_EMIT activityChanged();
    launch([this, cleaned](const CancellationToken &token) { scan(cleaned, token); }, m_scanToken);
}

void Indexer::stop()
{
    m_scanToken.cancel();
    std::unique_ptr<FileWatcher> watcher;
    {
        std::lock_guard guard(m_lock);
        m_extractionToken.cancel();
        watcher = std::move(m_watcher);
        m_extracting = false;
        m_needsAnotherPass = false;
        ++m_extractionGeneration;
    }
    // Torn down outside the lock: its thread may be waiting for the lock in
    // the event intake.
    watcher.reset();
    if (m_scanning) {
        m_scanning = false;
        Q_EMIT activityChanged();
    }
}

void Indexer::shutDown()
{
    m_shuttingDown = true;
    std::unique_ptr<FileWatcher> watcher;
    {
        std::lock_guard guard(m_lock);
        watcher = std::move(m_watcher);
    }
    // Changes the watcher has seen but not yet handed over join the pending
    // events before it goes.
    if (watcher)
        watcher->stop(FileWatcher::PendingChanges::deliver);
    watcher.reset();
    stop();
    m_flushTimer.stop();
    bool flushWaiting = false;
    {
        std::lock_guard guard(m_lock);
        flushWaiting = m_flushScheduled;
    }
    // Events already gathered are written now rather than lost.
    if (flushWaiting)
        launchFlush();
    waitForTasks();
}

QStringList Indexer::roots() const
{
    std::lock_guard guard(m_lock);
    return m_roots;
}

bool Indexer::isWatching() const
{
    std::lock_guard guard(m_lock);
    return m_watcher && m_watcher->isRunning();
}

bool Indexer::isIdle() const
{
    std::lock_guard guard(m_lock);
    return !m_scanning && !m_extracting && !m_flushScheduled && m_flushesRunning == 0;
}

// ---- the scan ----

void Indexer::scan(const QStringList &roots, const CancellationToken &token)
{
    FileScanner scanner(&m_store);
    qint64 skipped = 0;
    for (const QString &root : roots) {
        // A replaced scan ends here: the scan that replaced it starts the
        // watcher and the extraction.
        if (token.isCancelled())
            return;
        const double seenAt = now();
        const QString name = displayName(root);
        qint64 found = 0;
        try {
            scanner.walk(
                root, scanBatchSize,
                [&](const QList<FileRecord> &batch) {
                    m_store.files().upsert(batch, root, seenAt);
                    found += batch.size();
                    // Not awaited: the walk doesn't slow down for the screens.
                    Tasks::deliver(this, token, [this, name, found] {
                        m_status.setPhase(IndexingPhase::scanning(name, found));
                        m_status.bumpRevision();
                    });
                },
                token);
            skipped += scanner.skippedNameCount();
            if (!token.isCancelled())
                m_store.files().reconcile(root, seenAt);
        } catch (const DescribedError &error) {
            // This root isn't reconciled; the next one is scanned.
            const QString description = error.description();
            Tasks::deliver(this, [this, description] { record(description); });
        }
    }
    // A scan stopped during its last root leaves the closing steps to the
    // scan that replaced it, so no watcher outlives stop().
    if (token.isCancelled())
        return;
    startWatcher(roots, token);
    scheduleExtraction();
    Tasks::deliver(this, token, [this, skipped] {
        m_status.bumpRevision();
        m_skippedNames = skipped;
        updateReport([&](IndexingReport &report) {
            report.scannedAt = now();
            report.skippedNames = skipped;
        });
        m_scanning = false;
        Q_EMIT scanFinished();
        Q_EMIT activityChanged();
    });
}

void Indexer::startWatcher(const QStringList &roots, const CancellationToken &token)
{
    FileWatcher::Callbacks callbacks;
    callbacks.changed = [this](const QStringList &paths) { intake(paths); };
    // Changes were lost: only a scan of the roots catches up.
    callbacks.overflowed = [this] {
        Tasks::deliver(this, [this] {
            if (!m_shuttingDown)
                start(this->roots());
        });
    };
    callbacks.failed = [this](const QString &message) { Tasks::deliver(this, [this, message] { record(message); }); };
    auto watcher = std::make_unique<FileWatcher>(
        roots, m_options.watcherLatency, std::move(callbacks), m_options.ignoredPaths,
        [](const QString &name) { return FileKinds::skippedFolderNames().contains(name); });
    watcher->start();
    {
        std::lock_guard guard(m_lock);
        if (!token.isCancelled())
            m_watcher = std::move(watcher);
    }
    // A watcher made for a scan that was stopped meanwhile goes here, outside the lock.
}

// ---- text extraction ----

void Indexer::scheduleExtraction()
{
    if (m_shuttingDown)
        return;
    int generation = 0;
    CancellationToken token;
    {
        std::lock_guard guard(m_lock);
        if (m_extracting) {
            m_needsAnotherPass = true;
            return;
        }
        m_extracting = true;
        m_needsAnotherPass = false;
        m_extractionToken = token;
        generation = m_extractionGeneration;
    }
    launch([this, generation](const CancellationToken &token) { drain(generation, token); }, token);
}

void Indexer::drain(int generation, const CancellationToken &token)
{
    for (;;) {
        std::shared_ptr<TextBatch> batch;
        bool failed = false;
        if (!token.isCancelled()) {
            try {
                QList<FileRecord> records = m_store.textQueue().next(textBatchSize);
                const qint64 count = m_store.textQueue().count();
                const IndexingPhase phase = count < 1 ? IndexingPhase::ready() : IndexingPhase::reading(count);
                Tasks::deliver(this, [this, phase] { m_status.setPhase(phase); });
                if (!records.isEmpty())
                    batch = std::make_shared<TextBatch>(std::move(records));
            } catch (const DescribedError &error) {
                // The pass ends and the phase stays as it is.
                const QString description = error.description();
                Tasks::deliver(this, [this, description] { record(description); });
                failed = true;
            }
        }
        if (!batch) {
            // A cancelled pass ends here too, so "ready" doesn't prove an
            // empty queue.
            Tasks::deliver(this, [this, failed] {
                if (!failed)
                    m_status.setPhase(IndexingPhase::ready());
                Q_EMIT drainFinished();
            });
            if (endPass(generation, token))
                continue;
            return;
        }

        // Two files in flight: this task and a helper take records in turn.
        launch(
            [this, batch, generation](const CancellationToken &token) {
                if (extractBatch(*batch, token) && finishBatch(*batch, generation, token))
                    drain(generation, token);
            },
            token);
        if (!extractBatch(*batch, token) || !finishBatch(*batch, generation, token))
            return;
    }
}

bool Indexer::extractBatch(TextBatch &batch, const CancellationToken &token)
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
bool Indexer::finishBatch(const TextBatch &batch, int generation, const CancellationToken &token)
{
    Tasks::deliver(this, [this] { m_status.bumpRevision(); });
    if (!batch.unavailable)
        return true;
    // Without a worker the same files would come back forever.
    Tasks::deliver(this, [this] { record(unavailableWorkerMessage()); });
    return endPass(generation, token);
}

// The end of a drain: true when another pass was asked for meanwhile.
bool Indexer::endPass(int generation, const CancellationToken &token)
{
    {
        std::lock_guard guard(m_lock);
        if (generation != m_extractionGeneration)
            return false; // stopped: the flags belong to the next pass now
        if (m_needsAnotherPass && !token.isCancelled()) {
            m_needsAnotherPass = false;
            return true;
        }
        m_extracting = false;
    }
    Tasks::deliver(this, [this] { Q_EMIT activityChanged(); });
    return false;
}

void Indexer::extractOne(const FileRecord &record, TextBatch &batch, const CancellationToken &token)
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
        markWithoutText(record.id);
        return;
    case ExtractionWorker::Outcome::extracted:
        break;
    }
    if (!result.content.text || result.content.text->isEmpty()) {
        markWithoutText(record.id);
        return;
    }
    try {
        m_store.textQueue().setText(record, splitIntoPassages(*result.content.text), result.content.pages);
    } catch (const DescribedError &) {
        try {
            m_store.textQueue().setState(record.id, TextState::Failed);
        } catch (const DescribedError &) {
        }
    }
}

// A file that gave no text leaves the queue until it changes.
void Indexer::markWithoutText(qint64 id)
{
    for (const TextState state : {TextState::NoText, TextState::Failed}) {
        try {
            m_store.textQueue().setState(id, state);
            return;
        } catch (const DescribedError &) {
            // Falls back to the failed state; an error there is dropped too.
        }
    }
}

// ---- change events ----

bool Indexer::isIgnoredEventPath(const QString &path)
{
    const QStringList pieces = path.split(u'/', Qt::SkipEmptyParts);
    for (const QString &piece : pieces) {
        if (piece.startsWith(u'.') || FileKinds::skippedFolderNames().contains(piece))
            return true;
    }
    return false;
}

QString Indexer::packagePath(const QString &path)
{
    const QStringList pieces = path.split(u'/');
    QStringList taken;
    for (const QString &piece : pieces) {
        taken.append(piece);
        if (isPackageName(piece))
            break;
    }
    return taken.join(u'/');
}

void Indexer::intake(const QStringList &paths)
{
    bool needsFlush = false;
    {
        std::lock_guard guard(m_lock);
        for (const QString &path : paths) {
            if (!isIgnoredEventPath(path))
                m_pendingEvents.insert(path);
        }
        // Even when every path was dropped: that flush just finds nothing.
        if (!m_flushScheduled) {
            m_flushScheduled = true;
            needsFlush = true;
        }
    }
    if (!needsFlush)
        return;
    // The flush runs a fixed time after the first event of the window; later
    // events never push it back, so a file written without pause still gets
    // flushed.
    const qint64 dueMs = monotonicMs() + m_options.flushDelay.count();
    Tasks::deliver(this, [this, dueMs] {
        if (m_shuttingDown || m_flushTimer.isActive())
            return;
        m_flushTimer.start(int(std::max<qint64>(0, dueMs - monotonicMs())));
    });
}

void Indexer::launchFlush()
{
    {
        std::lock_guard guard(m_lock);
        ++m_flushesRunning;
    }
    launch([this](const CancellationToken &token) { flush(token); }, m_lifetime);
}

void Indexer::flush(const CancellationToken &token)
{
    QSet<QString> paths;
    QStringList roots;
    {
        std::lock_guard guard(m_lock);
        paths = std::exchange(m_pendingEvents, {});
        roots = m_roots;
        m_flushScheduled = false;
    }
    const auto ended = [this] {
        Tasks::deliver(this, [this] {
            {
                std::lock_guard guard(m_lock);
                --m_flushesRunning;
            }
            Q_EMIT activityChanged();
        });
    };
    if (paths.isEmpty()) {
        ended();
        return;
    }
    const double seenAt = now();
    QSet<QString> targets;
    for (const QString &path : std::as_const(paths))
        targets.insert(packagePath(path));

    FileScanner scanner(&m_store);
    try {
        for (const QString &path : std::as_const(targets)) {
            if (token.isCancelled())
                break;
            QString root;
            for (const QString &candidate : std::as_const(roots)) {
                if (path.startsWith(candidate + u'/')) {
                    root = candidate;
                    break;
                }
            }
            if (root.isEmpty())
                continue;
            const QFileInfo info(path);
            if (!info.exists() && !info.isSymLink()) {
                // Both the file and anything that was under it go.
                m_store.files().deletePaths({path});
                m_store.files().deleteFolder(path);
                continue;
            }
            if (const auto record = scanner.record(path)) {
                m_store.files().upsert({*record}, root, seenAt);
                continue;
            }
            if (!info.isDir() || info.isSymLink() || isPackageName(info.fileName()))
                continue;
            // A folder that arrived whole, or was moved in.
            scanner.walk(
                path, scanBatchSize, [&](const QList<FileRecord> &batch) { m_store.files().upsert(batch, root, seenAt); },
                token);
        }
    } catch (const DescribedError &error) {
        // The rest of these paths waits for the next event or scan.
        const QString description = error.description();
        Tasks::deliver(this, [this, description] { record(description); });
    }
    Tasks::deliver(this, [this] { m_status.bumpRevision(); });
    scheduleExtraction();
    ended();
}

// ---- errors and the report ----

void Indexer::record(const QString &error)
{
    if (m_status.lastError() == error)
        return;
    m_status.setLastError(error);
    updateReport([&](IndexingReport &report) {
        report.lastError = error;
        report.lastErrorAt = now();
    });
}

void Indexer::updateReport(const std::function<void(IndexingReport &)> &change)
{
    if (m_options.reportKey.isEmpty())
        return;
    IndexingReport report = IndexingReport::load(m_options.reportKey);
    change(report);
    report.save(m_options.reportKey);
}
