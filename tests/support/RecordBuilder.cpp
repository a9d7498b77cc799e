#include "support/RecordBuilder.h"

FileRecord makeFileRecord(const QString &path, FileKind kind, qint64 size, std::optional<double> modified)
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
