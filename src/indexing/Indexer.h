// Gets the chosen folders into the library and keeps them current: a scan of
// the roots, a loop that reads the text of files waiting for it, and a flush
// of file change events. The work runs on the utility pool; IndexingStatus is
// changed on the main thread only.
//
// Threads: start, stop and shutDown are called on the main thread. The scan,
// the extraction loop (the loop's own task plus one helper task per batch, so
// that two files are in flight without any task waiting for another), and
// the event flush run on the utility pool; event intake runs on the
// watcher's thread. `m_lock` guards the roots, the pending events and the
// extraction flags, and is never held across a database call or a wait.
#pragma once

#include "core/Tasks.h"
#include "indexing/ExtractionWorker.h"

#include <QObject>
#include <QSet>
#include <QStringList>
#include <QTimer>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>

class FileWatcher;
class IndexStore;
class IndexingStatus;
struct IndexingReport;

class Indexer : public QObject
{
    Q_OBJECT
public:
    using Extractor = std::function<ExtractionWorker::Result(const FileRecord &, const CancellationToken &)>;

    struct Options
    {
        // The worker processes of the two extraction slots.
        ExtractionWorker::Options worker;
        // Reads one file's text instead of the worker processes when set.
        Extractor extractor;
        double watcherLatency = 1.5;
        // Events gather this long after the first one before they are flushed.
        std::chrono::milliseconds flushDelay{1000};
        // The library's own files: their changes are never reported.
        QStringList ignoredPaths;
        // The library whose report is kept on disk (IndexingReport); empty:
        // no report is kept.
        QString reportKey;
    };

    static constexpr int scanBatchSize = 400;
    static constexpr int textBatchSize = 12;
    static constexpr int extractionsInFlight = 2;

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

    // Where a change event's path leads: the path of the folder package it is
    // in, or the path itself.
    static QString packagePath(const QString &path);
    // Whether a change event's path is never looked at: any of its folders is
    // hidden or one of the scanner's skipped folders.
    static bool isIgnoredEventPath(const QString &path);

Q_SIGNALS:
    // The scan of every root ended; the watcher runs from here on.
    void scanFinished();
    // One drain of the text queue came to its end: the queue was found
    // empty, or the pass was stopped or failed.
    void drainFinished();
    // isIdle() may have changed.
    void activityChanged();

private:
    struct TextBatch;

    // Runs work on the utility pool and counts it, so that shutting down can
    // wait for it. The work runs even when the token is already cancelled.
    void launch(std::function<void(const CancellationToken &)> work, const CancellationToken &token);
    void taskEnded();
    void waitForTasks();

    void scan(const QStringList &roots, const CancellationToken &token);
    void startWatcher(const QStringList &roots, const CancellationToken &token);

    void drain(int generation, const CancellationToken &token);
    bool extractBatch(TextBatch &batch, const CancellationToken &token);
    bool finishBatch(const TextBatch &batch, int generation, const CancellationToken &token);
    bool endPass(int generation, const CancellationToken &token);
    void extractOne(const FileRecord &record, TextBatch &batch, const CancellationToken &token);
    void markWithoutText(qint64 id);

    void intake(const QStringList &paths);
    void launchFlush();
    void flush(const CancellationToken &token);

    // On the main thread: the last error, shown by the status and kept in
    // the report.
    void record(const QString &error);
    void updateReport(const std::function<void(IndexingReport &)> &change);

    IndexStore &m_store;
    IndexingStatus &m_status;
    Options m_options;
    std::unique_ptr<ExtractionSlots> m_slots;
    Extractor m_extract;

    mutable std::mutex m_lock;
    QStringList m_roots;
    std::unique_ptr<FileWatcher> m_watcher;
    QSet<QString> m_pendingEvents;
    bool m_flushScheduled = false;
    bool m_extracting = false;
    bool m_needsAnotherPass = false;
    int m_extractionGeneration = 0; // a stopped pass leaves the flags of its successor alone
    CancellationToken m_extractionToken;

    // Main thread only.
    CancellationToken m_scanToken;
    bool m_scanning = false;
    int m_flushesRunning = 0;
    QTimer m_flushTimer;
    qint64 m_skippedNames = 0;

    // Cancelled only when the indexer goes: ends a flush's walk.
    CancellationToken m_lifetime;
    std::atomic_bool m_shuttingDown = false;
    std::mutex m_tasksLock;
    std::condition_variable m_tasksEnded;
    int m_runningTasks = 0;
};
