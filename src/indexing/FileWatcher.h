// Follows folders through inotify and hands batches of changed paths to a
// handler on the watcher's own thread. All judgement about the paths
// (filtering, mapping to packages, what to rescan) is the indexer's.
#pragma once

#include <QHash>
#include <QSet>
#include <QString>
#include <QStringList>

#include <atomic>
#include <functional>
#include <mutex>
#include <thread>

class FileWatcher
{
public:
    using Handler = std::function<void(const QStringList &paths)>;

    struct Callbacks
    {
        // Batches of absolute paths, on the watcher's thread.
        Handler changed;
        // The kernel's event queue overflowed: changes were lost, and the
        // roots should be scanned again.
        std::function<void()> overflowed;
        // A problem the user should know of, such as running out of watches.
        std::function<void(const QString &message)> failed;
    };

    // latencySeconds: how long events gather after the first of a batch.
    // ignoredPaths: files whose changes are never reported (the library's own).
    // skipFolder: folder names not to descend into (their changes would be
    // dropped anyway); packages are watched inside.
    FileWatcher(QStringList paths, double latencySeconds, Callbacks callbacks, QStringList ignoredPaths = {},
                std::function<bool(const QString &folderName)> skipFolder = {});
    ~FileWatcher();

    FileWatcher(const FileWatcher &) = delete;
    FileWatcher &operator=(const FileWatcher &) = delete;

    // Starts watching. A second call, or a call with no paths, does nothing.
    void start();
    // Stops and releases every watch. Also done by the destructor.
    void stop();
    bool isRunning() const { return m_thread.joinable(); }

    // The number of folders watched now.
    int watchCount() const;

    static QString outOfWatchesMessage();

private:
    void run();
    void addTree(const QString &folder);
    bool addWatch(const QString &folder);
    void removeTree(const QString &folder);
    void renameTree(const QString &from, const QString &to);
    void report(const QString &path);
    void deliver();

    QStringList m_paths;
    double m_latency;
    Callbacks m_callbacks;
    QSet<QString> m_ignored;
    std::function<bool(const QString &)> m_skipFolder;

    int m_inotify = -1;
    int m_wake = -1; // an eventfd that ends the loop
    std::thread m_thread;

    // Touched by the watcher thread only, but for watchCount().
    mutable std::mutex m_watchLock;
    QHash<int, QString> m_folderOfWatch;
    QHash<QString, int> m_watchOfFolder;
    bool m_outOfWatchesReported = false;

    QSet<QString> m_pending;
    qint64 m_batchStartedMs = -1;
};
