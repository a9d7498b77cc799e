#include "platform/QuietOpen.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

int openQuietly(const QString &path)
{
    const QByteArray encoded = QFile::encodeName(path);
    int fd = ::open(encoded.constData(), O_RDONLY | O_CLOEXEC | O_NOATIME);
    if (fd < 0 && errno == EPERM)
        fd = ::open(encoded.constData(), O_RDONLY | O_CLOEXEC);
    return fd;
}

bool openQuietly(QFile &file, const QString &path)
{
    const int fd = openQuietly(path);
    if (fd < 0)
        return false;
    if (!file.open(fd, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle)) {
        ::close(fd);
        return false;
    }
    return true;
}
