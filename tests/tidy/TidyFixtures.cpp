#include "TidyFixtures.h"

#include <QFile>
#include <QFileInfo>

#include <cstdio>
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace TidyFixtures {

namespace {

bool setImmutable(const QString &path, bool on)
{
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    int flags = 0;
    bool done = ::ioctl(fd, FS_IOC_GETFLAGS, &flags) == 0;
    if (done) {
        flags = on ? (flags | FS_IMMUTABLE_FL) : (flags & ~FS_IMMUTABLE_FL);
        done = ::ioctl(fd, FS_IOC_SETFLAGS, &flags) == 0;
    }
    ::close(fd);
    return done;
}

// Whether the file can be renamed within its folder (and back).
bool canMove(const QString &path)
{
    const QByteArray from = QFile::encodeName(path);
    const QByteArray to = from + ".probe";
    if (::rename(from.constData(), to.constData()) != 0)
        return false;
    ::rename(to.constData(), from.constData());
    return true;
}

} // namespace

MoveLock::MoveLock(const QString &path)
    : m_path(path)
{
    if (::geteuid() == 0)
        m_immutable = setImmutable(path, true);
    else
        m_folderReadOnly = ::chmod(QFile::encodeName(QFileInfo(path).absolutePath()).constData(), 0555) == 0;
    m_locked = (m_immutable || m_folderReadOnly) && !canMove(path);
}

MoveLock::~MoveLock()
{
    if (m_immutable)
        setImmutable(m_path, false);
    if (m_folderReadOnly)
        ::chmod(QFile::encodeName(QFileInfo(m_path).absolutePath()).constData(), 0755);
}

} // namespace TidyFixtures
