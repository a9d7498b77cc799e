#include "store/FileRecord.h"

#include <QHash>

namespace {

template<typename T>
size_t hashOptional(const std::optional<T> &value, size_t seed)
{
    return value ? qHashMulti(seed, true, *value) : qHash(false, seed);
}

} // namespace

QString fileKindRawValue(FileKind kind)
{
    switch (kind) {
    case FileKind::image: return QStringLiteral("image");
    case FileKind::video: return QStringLiteral("video");
    case FileKind::audio: return QStringLiteral("audio");
    case FileKind::document: return QStringLiteral("document");
    case FileKind::archive: return QStringLiteral("archive");
    case FileKind::app: return QStringLiteral("app");
    case FileKind::other: break;
    }
    return QStringLiteral("other");
}

QString fileKindWord(FileKind kind)
{
    switch (kind) {
    case FileKind::image: return QStringLiteral("Image");
    case FileKind::video: return QStringLiteral("Video");
    case FileKind::audio: return QStringLiteral("Audio");
    case FileKind::document: return QStringLiteral("Document");
    case FileKind::archive: return QStringLiteral("Archive");
    case FileKind::app: return QStringLiteral("App");
    case FileKind::other: break;
    }
    return QStringLiteral("File");
}

FileKind fileKindFromRawValue(const QString &raw)
{
    for (FileKind kind : allFileKinds()) {
        if (fileKindRawValue(kind) == raw)
            return kind;
    }
    return FileKind::other;
}

const QList<FileKind> &allFileKinds()
{
    static const QList<FileKind> kinds{FileKind::image, FileKind::video,   FileKind::audio, FileKind::document,
                                       FileKind::archive, FileKind::app, FileKind::other};
    return kinds;
}

size_t qHash(const FileRecord &r, size_t seed)
{
    seed = qHashMulti(seed, r.id, r.path, r.name, r.ext, int(r.kind), r.size, r.isScreenshot);
    seed = hashOptional(r.uti, seed);
    for (const auto *date : {&r.created, &r.modified, &r.added, &r.opened, &r.duration})
        seed = hashOptional(*date, seed);
    for (const auto *text : {&r.sourceID, &r.sourceURL, &r.bundleID, &r.sha256, &r.textExcerpt})
        seed = hashOptional(*text, seed);
    for (const auto *number : {&r.width, &r.height, &r.pages})
        seed = hashOptional(*number, seed);
    return seed;
}
