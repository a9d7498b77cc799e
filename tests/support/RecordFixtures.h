// File records as the scanner would make them, for store tests.
#pragma once

#include "store/FileRecord.h"

#include <optional>

namespace RecordFixtures {

// A record of the path's name and lowercased extension.
inline FileRecord file(const QString &path, qint64 size, std::optional<double> modified,
                       FileKind kind = FileKind::document)
{
    FileRecord r;
    r.path = path;
    r.name = path.section(u'/', -1);
    const qsizetype dot = r.name.lastIndexOf(u'.');
    r.ext = dot > 0 ? r.name.mid(dot + 1).toLower() : QString();
    r.kind = kind;
    r.size = size;
    r.modified = modified;
    return r;
}

} // namespace RecordFixtures
