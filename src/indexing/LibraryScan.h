// The scan of the library's roots: each root walked in batches, upserted and
// then reconciled, with the phase shown while it runs. Started and stopped
// on the main thread; the walk runs on one counted utility task.
#pragma once

#include "core/Tasks.h"

#include <QObject>
#include <QStringList>

#include <functional>

class CountedTasks;
class IndexStore;
class IndexingStatus;

class LibraryScan : public QObject
{
    Q_OBJECT
public:
    // Runs on the scan's task after the last root, unless the scan was
    // stopped; the token is the scan's.
    using Completion = std::function<void(const QStringList &roots, const CancellationToken &token)>;

    LibraryScan(IndexStore &store, IndexingStatus &status, CountedTasks &tasks, Completion whenComplete);

    // Replaces a running scan.
    void start(const QStringList &roots);
    // A stopped scan ends before its next root and never reconciles.
    void stop();
    // From start until finished() or stop().
    bool isRunning() const { return m_running; }

    // What a complete scan left out.
    struct Tally
    {
        qint64 skippedNames = 0; // names that aren't valid UTF-8
        qint64 unreadableFolders = 0;
    };

Q_SIGNALS:
    // Every root was scanned.
    void finished(const LibraryScan::Tally &tally);
    // A root couldn't be scanned, or a folder inside it couldn't be read;
    // the scan went on.
    void failed(const QString &error);

private:
    void scan(const QStringList &roots, const CancellationToken &token);

    IndexStore &m_store;
    IndexingStatus &m_status;
    CountedTasks &m_tasks;
    Completion m_whenComplete;

    // Main thread only.
    CancellationToken m_token;
    bool m_running = false;
};
