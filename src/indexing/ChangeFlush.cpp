#include "indexing/ChangeFlush.h"

#include "core/Errors.h"
#include "indexing/CountedTasks.h"
#include "indexing/FileKinds.h"
#include "indexing/FileScanner.h"
#include "indexing/IndexingStatus.h"
#include "indexing/LibraryScan.h"
#include "store/IndexStore.h"

#include <QDateTime>
#include <QDeadlineTimer>
#include <QFileInfo>

ChangeFlush::ChangeFlush(IndexStore &store, IndexingStatus &status, CountedTasks &tasks,
                         std::chrono::milliseconds window, QStringList ignoredPaths, std::function<void()> whenFlushed)
    : m_store(store)
    , m_status(status)
    , m_tasks(tasks)
    , m_window(window)
    , m_ignoredPaths(std::move(ignoredPaths))
    , m_whenFlushed(std::move(whenFlushed))
{
    m_windowEnd.setSingleShot(true);
    connect(&m_windowEnd, &QTimer::timeout, this, &ChangeFlush::launchFlush);
}

ChangeFlush::~ChangeFlush()
{
    stopWatching(FileWatcher::PendingChanges::discard);
}

void ChangeFlush::setRoots(const QStringList &roots)
{
    std::lock_guard guard(m_lock);
    m_roots = roots;
}

QStringList ChangeFlush::roots() const
{
    std::lock_guard guard(m_lock);
    return m_roots;
}

// ---- the watcher ----

void ChangeFlush::watch(const QStringList &roots, const CancellationToken &token)
{
    FileWatcher::Callbacks callbacks;
    callbacks.changed = [this](const QStringList &paths) { intake(paths); };
    callbacks.overflowed = [this] { Tasks::deliver(this, [this] { Q_EMIT overflowed(); }); };
    callbacks.failed = [this](const QString &message) {
        Tasks::deliver(this, [this, message] { Q_EMIT failed(message); });
    };
    auto watcher = std::make_unique<FileWatcher>(
        roots, std::move(callbacks), m_ignoredPaths,
        [](const QString &name) { return FileKinds::skippedFolderNames().contains(name); });
    watcher->start();
    {
        std::lock_guard guard(m_lock);
        if (!token.isCancelled())
            m_watcher = std::move(watcher);
    }
    // A watcher made for a scan that was stopped meanwhile goes here, outside the lock.
}

void ChangeFlush::stopWatching(FileWatcher::PendingChanges pending)
{
    std::unique_ptr<FileWatcher> watcher;
    {
        std::lock_guard guard(m_lock);
        watcher = std::move(m_watcher);
    }
    // Torn down outside the lock: its thread may be waiting for the lock in
    // the intake.
    if (watcher)
        watcher->stop(pending);
}

bool ChangeFlush::isWatching() const
{
    std::lock_guard guard(m_lock);
    return m_watcher && m_watcher->isRunning();
}

// ---- the window ----

bool ChangeFlush::isIgnoredEventPath(const QString &path)
{
    const QStringList pieces = path.split(u'/', Qt::SkipEmptyParts);
    for (const QString &piece : pieces) {
        if (piece.startsWith(u'.') || FileKinds::skippedFolderNames().contains(piece))
            return true;
    }
    return false;
}

QString ChangeFlush::packagePath(const QString &path)
{
    const QStringList pieces = path.split(u'/');
    QStringList taken;
    for (const QString &piece : pieces) {
        taken.append(piece);
        if (FileKinds::isPackageName(piece))
            break;
    }
    return taken.join(u'/');
}

void ChangeFlush::intake(const QStringList &paths)
{
    {
        std::lock_guard guard(m_lock);
        for (const QString &path : paths) {
            if (!isIgnoredEventPath(path))
                m_pending.insert(path);
        }
        // Even when every path was dropped: that flush just finds nothing.
        if (m_windowOpen)
            return;
        m_windowOpen = true;
    }
    // The deadline counts from this first event, however late the main
    // thread gets to it.
    const QDeadlineTimer deadline(m_window);
    Tasks::deliver(this, [this, deadline] {
        if (m_shutDown || m_windowEnd.isActive())
            return;
        m_windowEnd.start(int(deadline.remainingTime()));
    });
}

void ChangeFlush::shutDown()
{
    m_shutDown = true;
    m_windowEnd.stop();
    bool windowOpen = false;
    {
        std::lock_guard guard(m_lock);
        windowOpen = m_windowOpen;
    }
    if (windowOpen)
        launchFlush();
}

void ChangeFlush::cancelFlushes()
{
    m_lifetime.cancel();
}

bool ChangeFlush::isBusy() const
{
    if (m_flushesRunning > 0)
        return true;
    std::lock_guard guard(m_lock);
    return m_windowOpen;
}

// ---- the flush ----

void ChangeFlush::launchFlush()
{
    ++m_flushesRunning;
    m_tasks.launch([this](const CancellationToken &token) { flush(token); }, m_lifetime);
}

void ChangeFlush::flush(const CancellationToken &token)
{
    QSet<QString> paths;
    QStringList roots;
    {
        std::lock_guard guard(m_lock);
        paths = std::exchange(m_pending, {});
        roots = m_roots;
        m_windowOpen = false;
    }
    const auto ended = [this] {
        Tasks::deliver(this, [this] {
            --m_flushesRunning;
            Q_EMIT flushEnded();
        });
    };
    if (paths.isEmpty()) {
        ended();
        return;
    }
    const double seenAt = double(QDateTime::currentMSecsSinceEpoch()) / 1000.0;
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
            if (!info.isDir() || info.isSymLink() || FileKinds::isPackageName(info.fileName()))
                continue;
            // A folder that arrived whole, or was moved in.
            scanner.walk(
                path, FileScanner::defaultBatchSize,
                [&](const QList<FileRecord> &batch) { m_store.files().upsert(batch, root, seenAt); }, token);
        }
    } catch (const DescribedError &error) {
        // The rest of these paths waits for the next event or scan.
        Tasks::deliver(this, [this, description = error.description()] { Q_EMIT failed(description); });
    }
    Tasks::deliver(this, [this] { m_status.bumpRevision(); });
    m_whenFlushed();
    ended();
}
