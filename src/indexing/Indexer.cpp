#include "indexing/Indexer.h"

#include "indexing/IndexingReport.h"
#include "indexing/IndexingStatus.h"

#include <QDateTime>
#include <QDir>

namespace {

double now()
{
    return double(QDateTime::currentMSecsSinceEpoch()) / 1000.0;
}

} // namespace

Indexer::Indexer(IndexStore &store, IndexingStatus &status, QObject *parent)
    : Indexer(store, status, Options(), parent)
{
}

Indexer::Indexer(IndexStore &store, IndexingStatus &status, Options options, QObject *parent)
    : QObject(parent)
    , m_status(status)
    , m_reportKey(options.reportKey)
    , m_scan(store, status, m_tasks,
             [this](const QStringList &roots, const CancellationToken &token) {
                 m_changes.watch(roots, token);
                 scheduleExtraction();
             })
    , m_text(store, status, m_tasks, options.worker, std::move(options.extractor))
    , m_changes(store, status, m_tasks, options.flushDelay, options.ignoredPaths, [this] { scheduleExtraction(); })
{
    connect(&m_scan, &LibraryScan::finished, this, &Indexer::scanCompleted);
    connect(&m_text, &TextLoop::drainFinished, this, &Indexer::drainFinished);
    connect(&m_text, &TextLoop::ended, this, &Indexer::activityChanged);
    connect(&m_changes, &ChangeFlush::flushEnded, this, &Indexer::activityChanged);
    connect(&m_changes, &ChangeFlush::overflowed, this, [this] {
        if (!m_shuttingDown)
            start(roots());
    });
    connect(&m_scan, &LibraryScan::failed, this, &Indexer::record);
    connect(&m_text, &TextLoop::failed, this, &Indexer::record);
    connect(&m_changes, &ChangeFlush::failed, this, &Indexer::record);
}

Indexer::~Indexer()
{
    m_changes.cancelFlushes();
    m_shuttingDown = true;
    stop();
    m_tasks.waitForAll();
}

void Indexer::start(const QStringList &roots)
{
    if (m_shuttingDown)
        return;
    stop();
    QStringList cleaned;
    for (const QString &root : roots)
        cleaned.append(QDir::cleanPath(QDir(root).absolutePath()));
    m_changes.setRoots(cleaned);
    updateReport([&](IndexingReport &report) { report = IndexingReport{cleaned, now(), {}, {}, {}, 0, 0}; });
    m_scan.start(cleaned);
    Q_EMIT activityChanged();
}

void Indexer::stop()
{
    const bool wasScanning = m_scan.isRunning();
    m_scan.stop();
    m_text.stop();
    m_changes.stopWatching(FileWatcher::PendingChanges::discard);
    if (wasScanning)
        Q_EMIT activityChanged();
}

void Indexer::scheduleExtraction()
{
    if (m_shuttingDown)
        return;
    m_text.schedule();
}

void Indexer::shutDown()
{
    m_shuttingDown = true;
    // Changes the watcher has seen but not yet handed over join the window
    // before it goes, and the window is written now rather than lost.
    m_changes.stopWatching(FileWatcher::PendingChanges::deliver);
    stop();
    m_changes.shutDown();
    m_tasks.waitForAll();
}

QStringList Indexer::roots() const
{
    return m_changes.roots();
}

bool Indexer::isWatching() const
{
    return m_changes.isWatching();
}

bool Indexer::isIdle() const
{
    return !m_scan.isRunning() && !m_text.isRunning() && !m_changes.isBusy();
}

void Indexer::scanCompleted(const LibraryScan::Tally &tally)
{
    m_skippedNames = tally.skippedNames;
    updateReport([&](IndexingReport &report) {
        report.scannedAt = now();
        report.skippedNames = tally.skippedNames;
        report.unreadableFolders = tally.unreadableFolders;
    });
    Q_EMIT scanFinished();
    Q_EMIT activityChanged();
}

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
    if (m_reportKey.isEmpty())
        return;
    IndexingReport report = IndexingReport::load(m_reportKey);
    change(report);
    report.save(m_reportKey);
}
