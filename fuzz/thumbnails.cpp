// The reader of the desktop's thumbnail cache: any bytes in the place of a
// file's cached thumbnail give either that thumbnail, stamped with the file's
// modification time and no larger than its size folder, or nothing; never a
// crash, and never memory that stays behind.
#include "FuzzInput.h"

#include "platform/Thumbnails.h"

#include <QDateTime>
#include <QFile>

#include <cstdlib>

namespace {

// The modification time of the pictured file, which the seed thumbnails name.
constexpr qint64 pictureTime = 1700000000;

// The pictured file, with its fixed modification time, under a cache of its own.
QString picture()
{
    static const QString path = [] {
        const QString folder = fuzzFolder();
        qputenv("XDG_CACHE_HOME", QFile::encodeName(folder + QStringLiteral("/cache")));
        const QString made = folder + QStringLiteral("/holiday.png");
        QFile file(made);
        if (!file.open(QIODevice::WriteOnly) || file.write("not read") < 0
            || !file.setFileTime(QDateTime::fromSecsSinceEpoch(pictureTime), QFileDevice::FileModificationTime))
            std::abort();
        return made;
    }();
    return path;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QString path = picture();
    if (!writeFuzzFile(Thumbnails::cachePath(path, QStringLiteral("normal")), data, size))
        return 0;

    const QImage image = Thumbnails::cached(path, 128);
    if (image.isNull())
        return 0;
    FUZZ_EXPECT(image.width() <= 128 && image.height() <= 128,
                QStringLiteral("%1 x %2").arg(image.width()).arg(image.height()));
    bool numeric = false;
    const QString stamp = image.text(QStringLiteral("Thumb::MTime"));
    FUZZ_EXPECT(stamp.toLongLong(&numeric) == pictureTime && numeric, stamp);
    return 0;
}
