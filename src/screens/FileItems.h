// How one library file reaches the window: the values a tile, a row or the
// inspector binds to.
#pragma once

#include "store/FileRecord.h"

#include <QHash>
#include <QVariantMap>

namespace FileItems {

enum Role {
    IdRole = Qt::UserRole + 1,
    NameRole,
    PathRole,
    KindRole, // the kind's raw value
    KindWordRole, // "Document"
    SymbolRole, // the kind's symbol
    TintRole,
    SizeRole,
    SizeTextRole, // "1.2 MB"
    ModifiedTextRole,
    SourceRole, // display name of the source, or empty
    ThumbnailRole, // the image provider's address
    RecordRole, // a QVariant holding the FileRecord, for the commands
    SelectedRole,
};

QHash<int, QByteArray> roleNames();
QVariant data(const FileRecord &record, int role);
// Every role by its name, for lists handed over whole.
QVariantMap map(const FileRecord &record);

// "image://thumbnail/…": the file's thumbnail through the window's image
// provider. The address changes with the file's modification time, so an
// edited file gets a new thumbnail.
QString thumbnailSource(const FileRecord &record);

} // namespace FileItems
