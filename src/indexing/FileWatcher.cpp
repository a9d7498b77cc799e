#include "indexing/FileWatcher.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>

#include <cerrno>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <unistd.h>

namespace {

constexpr uint32_t folderEvents = IN_CREATE | IN_DELETE | IN_MODIFY | IN_CLOSE_WRITE | IN_ATTRIB | IN_MOVED_FROM
                                  | IN_MOVED_TO | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR | IN_DONT_FOLLOW
                                  | IN_EXCL_UNLINK;

bool isBelow(const QString &path, const QString &folder)
{
    return path.size() > folder.size() && path.startsWith(folder) && path.at(folder.size()) == u'/';
}

} // namespace

FileWatcher::FileWatcher(QStringList paths, Callbacks callbacks, QStringList ignoredPaths,
                         std::function<bool(const QString &)> skipFolder)
    : m_paths(std::move(paths))
    , m_callbacks(std::move(callbacks))
    , m_ignored(ignoredPaths.begin(), ignoredPaths.end())
    , m_skipFolder(std::move(skipFolder))
{
}

FileWatcher::~FileWatcher()
{
    stop();
}

QString FileWatcher::outOfWatchesMessage()
{
    return QStringLiteral("Live updates are off for some folders: the system's limit on watched folders was "
                          "reached. Larder still catches up with every scan. To raise the limit, set "
                          "fs.inotify.max_user_watches with sysctl.");
}

void FileWatcher::start()
{
    if (isRunning() || m_paths.isEmpty())
        return;
    m_inotify = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (m_inotify < 0) {
        if (m_callbacks.failed)
            m_callbacks.failed(outOfWatchesMessage());
        return;
    }
    m_wake = ::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    // Watches are added before start() returns, so that a change made right
    // after it is seen.
    for (const QString &path : std::as_const(m_paths))
        addTree(QDir::cleanPath(path));
    m_thread = std::thread([this] { run(); });
}

void FileWatcher::stop(PendingChanges pending)
{
    if (m_thread.joinable()) {
        m_deliverOnStop = pending == PendingChanges::deliver;
        const uint64_t one = 1;
        [[maybe_unused]] const auto written = ::write(m_wake, &one, sizeof one);
        m_thread.join();
    }
    if (m_wake >= 0)
        ::close(m_wake);
    if (m_inotify >= 0)
        ::close(m_inotify); // releases every watch
    m_wake = m_inotify = -1;
    std::lock_guard guard(m_watchLock);
    m_folderOfWatch.clear();
    m_watchOfFolder.clear();
}

int FileWatcher::watchCount() const
{
    std::lock_guard guard(m_watchLock);
    return int(m_folderOfWatch.size());
}

bool FileWatcher::addWatch(const QString &folder)
{
    const int wd = ::inotify_add_watch(m_inotify, QFile::encodeName(folder).constData(), folderEvents);
    if (wd < 0) {
        if (errno == ENOSPC && !m_outOfWatchesReported) {
            m_outOfWatchesReported = true;
            if (m_callbacks.failed)
                m_callbacks.failed(outOfWatchesMessage());
        }
        return false;
    }
    std::lock_guard guard(m_watchLock);
    // A folder renamed in place keeps its watch; the old name goes.
    if (const QString old = m_folderOfWatch.value(wd); !old.isEmpty())
        m_watchOfFolder.remove(old);
    m_folderOfWatch.insert(wd, folder);
    m_watchOfFolder.insert(folder, wd);
    return true;
}

void FileWatcher::addTree(const QString &folder)
{
    if (!addWatch(folder))
        return;
    QDirIterator it(folder, QDir::Dirs | QDir::NoDotAndDotDot | QDir::Hidden | QDir::NoSymLinks,
                    QDirIterator::NoIteratorFlags);
    while (it.hasNext()) {
        const QString child = it.next();
        const QString name = it.fileName();
        if (name.startsWith(u'.') || (m_skipFolder && m_skipFolder(name)))
            continue;
        addTree(child);
    }
}

void FileWatcher::removeTree(const QString &folder)
{
    std::lock_guard guard(m_watchLock);
    for (auto it = m_watchOfFolder.begin(); it != m_watchOfFolder.end();) {
        if (it.key() == folder || isBelow(it.key(), folder)) {
            ::inotify_rm_watch(m_inotify, it.value());
            m_folderOfWatch.remove(it.value());
            it = m_watchOfFolder.erase(it);
        } else {
            ++it;
        }
    }
}

void FileWatcher::renameTree(const QString &from, const QString &to)
{
    std::lock_guard guard(m_watchLock);
    QList<std::pair<QString, int>> moved;
    for (auto it = m_watchOfFolder.begin(); it != m_watchOfFolder.end();) {
        if (it.key() == from || isBelow(it.key(), from)) {
            moved.append({to + it.key().mid(from.size()), it.value()});
            it = m_watchOfFolder.erase(it);
        } else {
            ++it;
        }
    }
    for (const auto &[path, wd] : moved) {
        m_watchOfFolder.insert(path, wd);
        m_folderOfWatch.insert(wd, path);
    }
}

void FileWatcher::run()
{
    for (;;) {
        pollfd fds[2] = {{m_inotify, POLLIN, 0}, {m_wake, POLLIN, 0}};
        const int ready = ::poll(fds, 2, -1);
        if (ready < 0 && errno != EINTR)
            return;
        if (fds[1].revents & POLLIN) {
            if (m_deliverOnStop) {
                while (readEvents()) {
                }
            }
            return;
        }
        if (fds[0].revents & POLLIN)
            readEvents();
    }
}

bool FileWatcher::readEvents()
{
    alignas(inotify_event) char buffer[64 * 1024];
    const ssize_t length = ::read(m_inotify, buffer, sizeof buffer);
    if (length <= 0)
        return false;
    // A folder moved away shows as a MOVED_FROM without its MOVED_TO in
    // the same read; its watches then point outside the roots and go.
    QHash<uint32_t, QString> movedFrom;
    QSet<QString> changed;
    const auto report = [&](const QString &path) {
        if (!m_ignored.contains(path))
            changed.insert(path);
    };
    for (ssize_t offset = 0; offset < length;) {
        const auto *event = reinterpret_cast<const inotify_event *>(buffer + offset);
        offset += ssize_t(sizeof(inotify_event) + event->len);

        if (event->mask & IN_Q_OVERFLOW) {
            if (m_callbacks.overflowed)
                m_callbacks.overflowed();
            continue;
        }
        QString folder;
        {
            std::lock_guard guard(m_watchLock);
            folder = m_folderOfWatch.value(event->wd);
        }
        if (event->mask & IN_IGNORED) {
            std::lock_guard guard(m_watchLock);
            m_watchOfFolder.remove(folder);
            m_folderOfWatch.remove(event->wd);
            continue;
        }
        if (folder.isEmpty())
            continue;
        if (event->len == 0) {
            // The watched folder itself was deleted or moved.
            if (event->mask & (IN_DELETE_SELF | IN_MOVE_SELF))
                report(folder);
            continue;
        }
        const QByteArray rawName(event->name);
        const QString name = QFile::decodeName(rawName);
        // A name that isn't UTF-8 can't be named again; the scans skip it too.
        if (QFile::encodeName(name) != rawName)
            continue;
        const QString path = folder + u'/' + name;
        const bool isFolder = event->mask & IN_ISDIR;
        if (isFolder && (event->mask & IN_MOVED_FROM))
            movedFrom.insert(event->cookie, path);
        if (isFolder && (event->mask & IN_MOVED_TO)) {
            const QString from = movedFrom.take(event->cookie);
            if (!from.isEmpty())
                renameTree(from, path);
            else if (!name.startsWith(u'.') && !(m_skipFolder && m_skipFolder(name)))
                addTree(path);
        }
        if (isFolder && (event->mask & IN_CREATE) && !name.startsWith(u'.') && !(m_skipFolder && m_skipFolder(name)))
            addTree(path); // files made in it before the watch stood are found by the indexer's walk
        report(path);
    }
    for (const QString &gone : std::as_const(movedFrom))
        removeTree(gone);
    if (!changed.isEmpty() && m_callbacks.changed)
        m_callbacks.changed(QStringList(changed.begin(), changed.end()));
    return true;
}
