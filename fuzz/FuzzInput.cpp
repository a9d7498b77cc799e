#include "FuzzInput.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <cstdio>
#include <cstdlib>

void fuzzFailure(const char *property, const QString &detail)
{
    std::fprintf(stderr, "property failed: %s\n%s\n", property, detail.toUtf8().left(2000).constData());
    std::abort();
}

QString fuzzFolder()
{
    static const QTemporaryDir folder(QDir(QStringLiteral("/dev/shm")).exists()
                                          ? QStringLiteral("/dev/shm/larder-fuzz-XXXXXX")
                                          : QDir::tempPath() + QStringLiteral("/larder-fuzz-XXXXXX"));
    return folder.path();
}

bool writeFuzzFile(const QString &path, const uint8_t *data, size_t size)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        if (!QDir().mkpath(QFileInfo(path).path()) || !file.open(QIODevice::WriteOnly | QIODevice::Truncate))
            return false;
    }
    return file.write(reinterpret_cast<const char *>(data), qint64(size)) == qint64(size);
}
