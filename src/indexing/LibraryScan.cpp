#include "indexing/LibraryScan.h"

#include "core/Errors.h"
#include "indexing/CountedTasks.h"
#include "indexing/FileScanner.h"
#include "indexing/IndexingStatus.h"
#include "store/BulkLoad.h"
#include "store/IndexStore.h"

#include <QDateTime>
#include <QFileInfo>

namespace {

// The name a root shows in the status line.
QString displayName(const QString &root)
{
    const QString name = QFileInfo(root).fileName();
    return name.isEmpty() ? root : name;
}

} // namespace

LibraryScan::LibraryScan(IndexStore &store, IndexingStatus &status, CountedTasks &tasks, Completion whenComplete)
    : m_store(store)
    , m_status(status)
    , m_tasks(tasks)
    , m_whenComplete(std::move(whenComplete))
{
}

void LibraryScan::start(const QStringList &roots)
{
    m_token.cancel();
    m_token = CancellationToken();
    m_running = true;
    m_tasks.launch([this, roots](const CancellationToken &token) { scan(roots, token); }, m_token);
}

void LibraryScan::stop()
{
    m_token.cancel();
    m_running = false;
}

void LibraryScan::scan(const QStringList &roots, const CancellationToken &token)
{
    FileScanner scanner(&m_store);
    Tally tally;
    // A first scan fills an empty library in bulk; a scan cut short builds
    // the indexes as it ends.
    BulkLoad load(m_store);
    for (const QString &root : roots) {
        // A replaced scan ends here: the scan that replaced it starts the
        // watcher and the extraction.
        if (token.isCancelled())
            return;
        const double seenAt = double(QDateTime::currentMSecsSinceEpoch()) / 1000.0;
        const QString name = displayName(root);
        qint64 found = 0;
        try {
            scanner.walk(
                root, FileScanner::defaultBatchSize,
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
            tally.skippedNames += scanner.skippedNameCount();
            if (const QStringList unreadable = scanner.unreadableFolders(); !unreadable.isEmpty()) {
                tally.unreadableFolders += unreadable.size();
                Tasks::deliver(this, [this, message = FileScanner::unreadableMessage(unreadable)] { Q_EMIT failed(message); });
            }
            if (!token.isCancelled())
                m_store.files().reconcile(root, seenAt);
        } catch (const DescribedError &error) {
            // This root isn't reconciled; the next one is scanned.
            Tasks::deliver(this, [this, description = error.description()] { Q_EMIT failed(description); });
        }
    }
    // A scan stopped during its last root leaves the closing steps to the
    // scan that replaced it, so no watcher outlives stop().
    if (token.isCancelled())
        return;
    try {
        load.finish();
    } catch (const DescribedError &error) {
        // The library is whole without them, only slower to read; its next
        // open builds them.
        Tasks::deliver(this, [this, description = error.description()] { Q_EMIT failed(description); });
    }
    m_whenComplete(roots, token);
    Tasks::deliver(this, token, [this, tally] {
        m_status.bumpRevision();
        m_running = false;
        Q_EMIT finished(tally);
    });
}
