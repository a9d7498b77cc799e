// Keeps the library current between scans: follows the roots with a
// FileWatcher, gathers the changed paths into a window, and writes them on a
// counted utility task. The window closes a fixed time after its first event
// and is never pushed back, so a file written without pause still gets
// flushed.
//
// Threads: the intake runs on the watcher's thread, watch() on the scan's
// task, flushes on the pool, the rest on the main thread. `m_lock` guards the
// roots, the watcher and the window, and is never held across a database call
// or while the watcher is torn down.
#pragma once

#include "core/Tasks.h"
#include "indexing/FileWatcher.h"

#include <QObject>
#include <QSet>
#include <QStringList>
#include <QTimer>

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>

class CountedTasks;
class IndexStore;
class IndexingStatus;

class ChangeFlush : public QObject
{
    Q_OBJECT
public:
    // ignoredPaths: the library's own files, whose changes are never seen.
    // whenFlushed runs on the flush's task once its changes are written.
    ChangeFlush(IndexStore &store, IndexingStatus &status, CountedTasks &tasks, std::chrono::milliseconds window,
                QStringList ignoredPaths, std::function<void()> whenFlushed);
    ~ChangeFlush() override;

    // The roots changed paths are matched to; a path under none is dropped.
    void setRoots(const QStringList &roots);
    QStringList roots() const;

    // Starts following roots, unless the token was cancelled meanwhile. From
    // any thread.
    void watch(const QStringList &roots, const CancellationToken &token);
    // Tears the watcher down; the changes gathered so far stay for their
    // flush. With PendingChanges::deliver the watcher hands over what it
    // still holds first.
    void stopWatching(FileWatcher::PendingChanges pending);
    bool isWatching() const;

    // For a clean exit: flushes the changes gathered so far at once, and
    // starts no flush after.
    void shutDown();
    // Ends the walks of running flushes, when the indexer goes.
    void cancelFlushes();

    // A window is open or a flush runs.
    bool isBusy() const;

    // Where a change event's path leads: the path of the folder package it is
    // in, or the path itself.
    static QString packagePath(const QString &path);
    // Whether a change event's path is never looked at: any of its folders is
    // hidden or one of the scanner's skipped folders.
    static bool isIgnoredEventPath(const QString &path);

Q_SIGNALS:
    // The kernel's queue overflowed: changes were lost, and only a scan of
    // the roots catches up.
    void overflowed();
    void failed(const QString &error);
    // A flush ended: isBusy() may have changed.
    void flushEnded();

private:
    void intake(const QStringList &paths);
    void launchFlush();
    void flush(const CancellationToken &token);

    IndexStore &m_store;
    IndexingStatus &m_status;
    CountedTasks &m_tasks;
    const std::chrono::milliseconds m_window;
    const QStringList m_ignoredPaths;
    const std::function<void()> m_whenFlushed;

    mutable std::mutex m_lock;
    QStringList m_roots;
    std::unique_ptr<FileWatcher> m_watcher;
    QSet<QString> m_pending;
    bool m_windowOpen = false;

    // Main thread only.
    QTimer m_windowEnd;
    int m_flushesRunning = 0;
    bool m_shutDown = false;
    CancellationToken m_lifetime;
};
