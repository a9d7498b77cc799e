#include "platform/Thumbnails.h"

#include "platform/ImageLoader.h"
#include "platform/PdfDocument.h"
#include "platform/VideoFrame.h"

#include <QCache>
#include <QCryptographicHash>
#include <QFileInfo>
#include <QImageReader>
#include <QMimeDatabase>
#include <QMutex>
#include <QStandardPaths>

#include <glib.h>

namespace {

struct SizeFolder
{
    const char *name;
    int pixels;
};

// The desktop cache's sizes, smallest first.
constexpr SizeFolder sizeFolders[] = {{"normal", 128}, {"large", 256}, {"x-large", 512}, {"xx-large", 1024}};

QMutex memoryLock;
QCache<QString, QImage> &memory()
{
    static QCache<QString, QImage> cache(Thumbnails::memoryLimit);
    return cache;
}

std::optional<qint64> modificationSeconds(const QString &path)
{
    const QFileInfo info(path);
    if (!info.exists())
        return std::nullopt;
    return info.lastModified().toSecsSinceEpoch();
}

// A cached thumbnail counts when it names the file's modification time. The
// stamp is read from the decoded image: the reader's own text lookup splits
// keys at their colons.
QImage validThumbnail(const QString &thumbnailPath, qint64 mtime)
{
    if (!QFile::exists(thumbnailPath))
        return {};
    QImageReader reader(thumbnailPath, "png");
    QImage image = reader.read();
    bool numeric = false;
    const qint64 stamp = image.text(QStringLiteral("Thumb::MTime")).toLongLong(&numeric);
    if (image.isNull() || !numeric || stamp != mtime)
        return {};
    return image;
}

bool isPdf(const QString &path)
{
    static const QMimeDatabase mimes;
    return mimes.mimeTypeForFile(path).inherits(QStringLiteral("application/pdf"));
}

} // namespace

namespace Thumbnails {

QString fileURI(const QString &path)
{
    const QByteArray local = QFile::encodeName(path);
    gchar *uri = g_filename_to_uri(local.constData(), nullptr, nullptr);
    if (!uri)
        return {};
    const QString text = QString::fromUtf8(uri);
    g_free(uri);
    return text;
}

QString cachePath(const QString &path, const QString &sizeFolder)
{
    const QByteArray md5 = QCryptographicHash::hash(fileURI(path).toUtf8(), QCryptographicHash::Md5).toHex();
    return QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation) + QStringLiteral("/thumbnails/")
        + sizeFolder + u'/' + QString::fromLatin1(md5) + QStringLiteral(".png");
}

QImage cached(const QString &path, int size)
{
    const auto mtime = modificationSeconds(path);
    if (!mtime)
        return {};
    // The smallest folder whose thumbnails are big enough, then the larger
    // ones, then the smaller ones as a last resort.
    QList<const SizeFolder *> order;
    for (const SizeFolder &folder : sizeFolders) {
        if (folder.pixels >= size)
            order.append(&folder);
    }
    for (auto it = std::rbegin(sizeFolders); it != std::rend(sizeFolders); ++it) {
        if (it->pixels < size)
            order.append(&*it);
    }
    for (const SizeFolder *folder : order) {
        const QImage image = validThumbnail(cachePath(path, QString::fromLatin1(folder->name)), *mtime);
        if (!image.isNull())
            return image;
    }
    return {};
}

QImage make(const QString &path, FileKind kind, int size)
{
    switch (kind) {
    case FileKind::image:
        return ImageLoader::bounded(path, size);
    case FileKind::video:
        return VideoFrame::thumbnail(path, size);
    case FileKind::document:
        if (isPdf(path)) {
            const PdfDocument pdf(path);
            if (pdf.isOpen() && pdf.pageCount() > 0)
                return pdf.renderPage(0, size);
        }
        return {};
    default:
        return {};
    }
}

QImage thumbnail(const QString &path, FileKind kind, int size)
{
    const auto mtime = modificationSeconds(path);
    if (!mtime)
        return {};
    const QString key = path + u'\n' + QString::number(*mtime) + u'\n' + QString::number(size);
    {
        QMutexLocker locker(&memoryLock);
        if (const QImage *image = memory().object(key))
            return *image;
    }
    QImage image = cached(path, size);
    if (image.isNull())
        image = make(path, kind, size);
    if (image.isNull())
        return {};
    if (std::max(image.width(), image.height()) > size)
        image = image.scaled(size, size, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    QMutexLocker locker(&memoryLock);
    memory().insert(key, new QImage(image));
    return image;
}

int memoryCount()
{
    QMutexLocker locker(&memoryLock);
    return int(memory().count());
}

void clearMemory()
{
    QMutexLocker locker(&memoryLock);
    memory().clear();
}

} // namespace Thumbnails
