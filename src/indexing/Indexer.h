// Gets the chosen folders into the library and keeps them current, with three
// parts: the scan of the roots (LibraryScan), the loop that reads the text of
// files waiting for it (TextLoop), and the flush of file change events
// (ChangeFlush). Their work runs on counted utility tasks; IndexingStatus is
// changed on the main thread only.
//
// Threads: start, stop and shutDown are called on the main thread.
#pragma once

#include "indexing/ChangeFlush.h"
#include "indexing/CountedTasks.h"
#include "indexing/LibraryScan.h"
#include "indexing/TextLoop.h"

#include <QObject>
#include <QStringList>

#include <atomic>
#include <chrono>
#include <functional>

class IndexStore;
class IndexingStatus;
struct IndexingReport;

class Indexer : public QObject
{
    Q_OBJECT
public:
    using Extractor = TextLoop::Extractor;

    struct Options
    {
        // The worker processes of the two extraction slots.
        ExtractionWorker::Options worker;
        // Reads one file's text instead of the worker processes when set.
        Extractor extractor;
        // Changes are written this long after the first one of a window.
        std::chrono::milliseconds flushDelay{1000};
        // The library's own files: their changes are never reported.
        QStringList ignoredPaths;
        // The library whose report is kept on disk (IndexingReport); empty:
        // no report is kept.
        QString reportKey;
    };

    Indexer(IndexStore &store, IndexingStatus &status, QObject *parent = nullptr);
    Indexer(IndexStore &store, IndexingStatus &status, Options options, QObject *parent = nullptr);
    // Stops everything and waits for the background work to end.
    ~Indexer() override;

    // Stops everything, then scans the roots anew; at the end of the scan the
    // watcher starts and the text of waiting files is read.
    void start(const QStringList &roots);
    // Cancels the scan and the extraction and tears the watcher down. Events
    // waiting for their flush stay.
    void stop();
    // Starts the extraction loop, or asks the running one for one more pass.
    // From any thread.
    void scheduleExtraction();
    // For a clean exit: stops, flushes the events gathered so far at once,
    // and waits until all background work has ended. Nothing starts after it.
    void shutDown();

    QStringList roots() const;
    bool isWatching() const;
    // No scan, extraction pass or flush is running or waiting.
    bool isIdle() const;
    // Names left out by the last complete scan because they aren't UTF-8.
    qint64 skippedNameCount() const { return m_skippedNames; }

Q_SIGNALS:
    // The scan of every root ended; the watcher runs from here on.
    void scanFinished();
    // One drain of the text queue came to its end: the queue was found
    // empty, or the pass was stopped or failed.
    void drainFinished();
    // isIdle() may have changed.
    void activityChanged();

private:
    void scanCompleted(const LibraryScan::Tally &tally);
    // The last error, shown by the status and kept in the report.
    void record(const QString &error);
    void updateReport(const std::function<void(IndexingReport &)> &change);

    IndexingStatus &m_status;
    const QString m_reportKey;
    std::atomic_bool m_shuttingDown = false;
    qint64 m_skippedNames = 0;

    // Declared first, so that it outlives the parts whose tasks it counts;
    // the destructor waits for those tasks before any part goes.
    CountedTasks m_tasks;
    LibraryScan m_scan;
    TextLoop m_text;
    ChangeFlush m_changes;
};
