// The promise that one process at a time writes a library: an advisory lock
// on a file beside it ("Library.sqlite.lock"), which holds the pid of the
// process that has it. The lock ends with its holder, even when that process
// dies; the file stays, and a stale pid in it means nothing.
#pragma once

#include <QString>

class LibraryLock
{
public:
    explicit LibraryLock(const QString &libraryPath);
    // Releases the lock.
    ~LibraryLock();
    LibraryLock(const LibraryLock &) = delete;
    LibraryLock &operator=(const LibraryLock &) = delete;

    // Takes the lock without waiting; false when another holder has it.
    // Throws FileSystemError when the lock file can't be opened.
    bool tryLock();
    bool isLocked() const { return m_locked; }
    // The pid the holder wrote into the lock file; 0 when it hasn't yet.
    qint64 holder() const;
    QString path() const { return m_path; }

private:
    QString m_path;
    int m_fd = -1;
    bool m_locked = false;
};
