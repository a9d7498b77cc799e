// Follows folders through inotify and hands the changed paths of each read
// of the kernel's queue to a handler on the watcher's own thread, at once:
// gathering them into a window, and all judgement about the paths
// (filtering, mapping to packages, what to rescan), is the indexer's.
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
        // The absolute paths of one read, on the watcher's thread.
        Handler changed;
        // The kernel's event queue overflowed: changes were lost, and the
        // roots should be scanned again.
        std::function<void()> overflowed;
        // A problem the user should know of, such as running out of watches.
        std::function<void(const QString &message)> failed;
    };

    // ignoredPaths: files whose changes are never reported (the library's own).
    // skipFolder: folder names not to descend into (their changes would be
    // dropped anyway); packages are watched inside.
    FileWatcher(QStringList paths, Callbacks callbacks, QStringList ignoredPaths = {},
                std::function<bool(const QString &folderName)> skipFolder = {});
    ~FileWatcher();

    FileWatcher(const FileWatcher &) = delete;
    FileWatcher &operator=(const FileWatcher &) = delete;

    // Starts watching. A second call, or a call with no paths, does nothing.
    void start();
    enum class PendingChanges {
        discard, // what waits in the kernel's queue is dropped
        deliver, // what waits in the kernel's queue goes to the handler first
    };
    // Stops and releases every watch. Also done by the destructor, which
    // discards what is pending.
    void stop(PendingChanges pending = PendingChanges::discard);
    bool isRunning() const { return m_thread.joinable(); }

    // The number of folders watched now.
    int watchCount() const;

    static QString outOfWatchesMessage();

private:
    void run();
    // Reads the events waiting in the kernel's queue; false when there were none.
    bool readEvents();
    void addTree(const QString &folder);
    bool addWatch(const QString &folder);
    void removeTree(const QString &folder);
    void renameTree(const QString &from, const QString &to);

    QStringList m_paths;
    Callbacks m_callbacks;
    QSet<QString> m_ignored;
    std::function<bool(const QString &)> m_skipFolder;

    int m_inotify = -1;
    int m_wake = -1; // an eventfd that ends the loop
    std::atomic_bool m_deliverOnStop = false;
    std::thread m_thread;

    // Touched by the watcher thread only, but for watchCount().
    mutable std::mutex m_watchLock;
    QHash<int, QString> m_folderOfWatch;
    QHash<QString, int> m_watchOfFolder;
    bool m_outOfWatchesReported = false;
};
