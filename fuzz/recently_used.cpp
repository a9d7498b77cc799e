// The reader of the recently-used list: any file content gives a list of
// local paths with dates, or nothing, and never a crash.
#include "FuzzInput.h"

#include "platform/FileTraces.h"

#include <QDir>
#include <QTemporaryDir>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    // A file a run on memory, where there is a memory-backed folder.
    static QTemporaryDir folder(QDir(QStringLiteral("/dev/shm")).exists() ? QStringLiteral("/dev/shm/larder-fuzz-XXXXXX")
                                                                          : QDir::tempPath() + QStringLiteral("/larder-fuzz-XXXXXX"));
    const QString path = folder.filePath(QStringLiteral("recently-used.xbel"));
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return 0;
    file.write(reinterpret_cast<const char *>(data), qint64(size));
    file.close();

    FileTraces::RecentlyUsed recent;
    recent.refresh(path);
    FUZZ_EXPECT(recent.size() >= 0, path);
    recent.lastUsed(QStringLiteral("/home/ada/notes.txt"));
    // A second refresh of an unchanged list keeps what was read.
    const qsizetype count = recent.size();
    recent.refresh(path);
    FUZZ_EXPECT(recent.size() == count, QString::number(count));
    return 0;
}
