#include "store/LibraryLock.h"

#include "core/Errors.h"

#include <QFile>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

LibraryLock::LibraryLock(const QString &libraryPath)
    : m_path(libraryPath + QStringLiteral(".lock"))
{
}

LibraryLock::~LibraryLock()
{
    // Closing the only descriptor releases the lock.
    if (m_fd >= 0)
        ::close(m_fd);
}

bool LibraryLock::tryLock()
{
    if (m_locked)
        return true;
    if (m_fd < 0) {
        // Close-on-exec: the extraction workers must not inherit the lock.
        m_fd = ::open(QFile::encodeName(m_path).constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
        if (m_fd < 0)
            throw FileSystemError(QStringLiteral("Couldn't open the lock file “%1”: %2")
                                      .arg(m_path, QString::fromLocal8Bit(std::strerror(errno))));
    }
    if (::flock(m_fd, LOCK_EX | LOCK_NB) != 0)
        return false;
    m_locked = true;
    const QByteArray pid = QByteArray::number(qint64(::getpid())) + '\n';
    // A pid that can't be written only leaves others without it.
    if (::ftruncate(m_fd, 0) == 0) {
        [[maybe_unused]] const auto written = ::pwrite(m_fd, pid.constData(), size_t(pid.size()), 0);
    }
    return true;
}

qint64 LibraryLock::holder() const
{
    QFile file(m_path);
    if (!file.open(QIODevice::ReadOnly))
        return 0;
    return file.readLine(32).trimmed().toLongLong();
}
