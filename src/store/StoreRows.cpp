#include "store/StoreRows.h"

namespace StoreRows {

FileRecord decodeRecord(const SQLRow &row)
{
    FileRecord r;
    r.id = row.integer(QStringLiteral("id")).value_or(0);
    r.path = row.string(QStringLiteral("path")).value_or(QString());
    r.name = row.string(QStringLiteral("name")).value_or(QString());
    r.ext = row.string(QStringLiteral("ext")).value_or(QString());
    r.uti = row.string(QStringLiteral("uti"));
    r.kind = fileKindFromRawValue(row.string(QStringLiteral("kind")).value_or(QString()));
    r.size = row.integer(QStringLiteral("size")).value_or(0);
    r.created = row.date(QStringLiteral("created"));
    r.modified = row.date(QStringLiteral("modified"));
    r.added = row.date(QStringLiteral("added"));
    r.opened = row.date(QStringLiteral("opened"));
    r.sourceID = row.string(QStringLiteral("source"));
    r.sourceURL = row.string(QStringLiteral("source_url"));
    r.bundleID = row.string(QStringLiteral("bundle_id"));
    r.isScreenshot = row.integer(QStringLiteral("is_screenshot")).value_or(0) != 0;
    r.width = row.integer(QStringLiteral("width"));
    r.height = row.integer(QStringLiteral("height"));
    r.duration = row.real(QStringLiteral("duration"));
    r.pages = row.integer(QStringLiteral("pages"));
    r.sha256 = row.string(QStringLiteral("sha256"));
    r.textExcerpt = row.string(QStringLiteral("text_excerpt"));
    return r;
}

QList<FileRecord> decodeRecords(const QList<SQLRow> &rows)
{
    QList<FileRecord> records;
    records.reserve(rows.size());
    for (const SQLRow &row : rows)
        records.append(decodeRecord(row));
    return records;
}

QString jsonList(const QList<qint64> &numbers)
{
    QStringList texts;
    texts.reserve(numbers.size());
    for (qint64 number : numbers)
        texts.append(QString::number(number));
    return u'[' + texts.join(u',') + u']';
}

} // namespace StoreRows
