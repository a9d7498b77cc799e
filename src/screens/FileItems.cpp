#include "screens/FileItems.h"

#include "app/SidebarItem.h"
#include "core/DownloadSources.h"
#include "core/Format.h"

#include <QDateTime>
#include <QFileInfo>
#include <QUrl>

namespace FileItems {

QHash<int, QByteArray> roleNames()
{
    return {
        {IdRole, "fileID"},
        {NameRole, "name"},
        {PathRole, "path"},
        {KindRole, "kind"},
        {KindWordRole, "kindWord"},
        {SymbolRole, "symbol"},
        {TintRole, "tint"},
        {SizeRole, "size"},
        {SizeTextRole, "sizeText"},
        {ModifiedTextRole, "modifiedText"},
        {SourceRole, "source"},
        {ThumbnailRole, "thumbnail"},
        {RecordRole, "record"},
        {SelectedRole, "selected"},
    };
}

QString thumbnailSource(const FileRecord &record)
{
    // The path goes in whole and escaped; the query only makes the address
    // new when the file changes.
    const qint64 stamp = qint64(record.modified.value_or(0) * 1000);
    return QStringLiteral("image://thumbnail/") + QString::fromLatin1(QUrl::toPercentEncoding(record.path))
        + QStringLiteral("?m=%1&k=%2").arg(stamp).arg(fileKindRawValue(record.kind));
}

QVariant data(const FileRecord &record, int role)
{
    switch (role) {
    case IdRole:
        return record.id;
    case NameRole:
        return record.name;
    case PathRole:
        return record.path;
    case KindRole:
        return fileKindRawValue(record.kind);
    case KindWordRole:
        return fileKindWord(record.kind);
    case SymbolRole:
        return SidebarItem::ofKind(record.kind).symbol();
    case TintRole:
        return SidebarItem::ofKind(record.kind).tint();
    case SizeRole:
        return record.size;
    case SizeTextRole:
        return Format::byteCount(record.size);
    case ModifiedTextRole:
        if (!record.modified)
            return QString();
        return Format::dateTime(QDateTime::fromMSecsSinceEpoch(qint64(*record.modified * 1000)));
    case SourceRole:
        return record.sourceID ? sourceDisplayName(*record.sourceID) : QString();
    case ThumbnailRole:
        return thumbnailSource(record);
    case RecordRole:
        return QVariant::fromValue(record);
    default:
        return {};
    }
}

QVariantMap map(const FileRecord &record)
{
    QVariantMap values;
    const auto roles = roleNames();
    for (auto it = roles.begin(); it != roles.end(); ++it) {
        if (it.key() != SelectedRole)
            values.insert(QString::fromLatin1(it.value()), data(record, it.key()));
    }
    values.insert(QStringLiteral("folder"), QFileInfo(record.path).absolutePath());
    return values;
}

} // namespace FileItems
