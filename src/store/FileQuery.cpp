#include "store/FileQuery.h"

#include <algorithm>

QString dateFieldRawValue(DateField field)
{
    switch (field) {
    case DateField::modified: return QStringLiteral("modified");
    case DateField::added: return QStringLiteral("added");
    case DateField::opened: return QStringLiteral("opened");
    case DateField::created: break;
    }
    return QStringLiteral("created");
}

std::optional<DateField> dateFieldFromRawValue(const QString &raw)
{
    for (DateField field : allDateFields()) {
        if (dateFieldRawValue(field) == raw)
            return field;
    }
    return std::nullopt;
}

const QList<DateField> &allDateFields()
{
    static const QList<DateField> fields{DateField::modified, DateField::added, DateField::opened, DateField::created};
    return fields;
}

QString fileSortRawValue(FileSort sort)
{
    switch (sort) {
    case FileSort::recent: return QStringLiteral("recent");
    case FileSort::name: return QStringLiteral("name");
    case FileSort::size: return QStringLiteral("size");
    case FileSort::kind: break;
    }
    return QStringLiteral("kind");
}

std::optional<FileSort> fileSortFromRawValue(const QString &raw)
{
    for (FileSort sort : allFileSorts()) {
        if (fileSortRawValue(sort) == raw)
            return sort;
    }
    return std::nullopt;
}

const QList<FileSort> &allFileSorts()
{
    static const QList<FileSort> sorts{FileSort::recent, FileSort::name, FileSort::size, FileSort::kind};
    return sorts;
}

size_t qHash(const FileHit &hit, size_t seed)
{
    seed = qHashMulti(seed, hit.file, hit.score);
    seed = qHashMulti(seed, hit.snippet.has_value(), hit.snippet.value_or(QString()));
    return qHashMulti(seed, hit.reason.has_value(), hit.reason.value_or(QString()));
}

namespace {

// "f.col IN (?,?,?)" over the sorted texts, appending their bindings.
QString inList(const QString &column, QStringList values, SQLBindings &bindings)
{
    std::sort(values.begin(), values.end());
    QStringList marks;
    for (const QString &value : values) {
        marks.append(QStringLiteral("?"));
        bindings.append(value);
    }
    return column + QStringLiteral(" IN (") + marks.join(u',') + u')';
}

} // namespace

CompiledFilter compileFilter(const FileFilter &filter)
{
    QStringList clauses;
    SQLBindings bindings;

    if (!filter.kinds.isEmpty() || !filter.extensions.isEmpty()) {
        QStringList group;
        if (!filter.kinds.isEmpty()) {
            QStringList raw;
            for (FileKind kind : filter.kinds)
                raw.append(fileKindRawValue(kind));
            group.append(inList(QStringLiteral("f.kind"), raw, bindings));
        }
        if (!filter.extensions.isEmpty())
            group.append(inList(QStringLiteral("f.ext"), QStringList(filter.extensions.begin(), filter.extensions.end()),
                                bindings));
        clauses.append(u'(' + group.join(QStringLiteral(" OR ")) + u')');
    }
    const QString dateColumn = QStringLiteral("f.") + dateFieldRawValue(filter.dateField);
    if (filter.dateFrom) {
        clauses.append(dateColumn + QStringLiteral(" >= ?"));
        bindings.append(*filter.dateFrom);
    }
    if (filter.dateTo) {
        clauses.append(dateColumn + QStringLiteral(" < ?"));
        bindings.append(*filter.dateTo);
    }
    if (filter.minSize) {
        clauses.append(QStringLiteral("f.size >= ?"));
        bindings.append(*filter.minSize);
    }
    if (filter.maxSize) {
        clauses.append(QStringLiteral("f.size <= ?"));
        bindings.append(*filter.maxSize);
    }
    if (!filter.sources.isEmpty())
        clauses.append(inList(QStringLiteral("f.source"), QStringList(filter.sources.begin(), filter.sources.end()),
                              bindings));
    if (filter.screenshotsOnly)
        clauses.append(QStringLiteral("f.is_screenshot = 1"));
    if (filter.folder) {
        // The paths under /a/b/ are those from "/a/b/" up to "/a/b0", '0'
        // following '/': a range the index on paths answers, where a test of
        // each path's beginning reads every row. The trailing slash keeps /a/b
        // from matching /a/bc.
        QString folder = *filter.folder;
        if (!folder.endsWith(u'/'))
            folder.append(u'/');
        clauses.append(QStringLiteral("f.path >= ? AND f.path < ?"));
        bindings.append(folder);
        bindings.append(folder.chopped(1) + u'0');
    }

    if (clauses.isEmpty())
        return {QStringLiteral("1"), {}};
    return {clauses.join(QStringLiteral(" AND ")), bindings};
}

QString compileSort(FileSort sort)
{
    switch (sort) {
    case FileSort::recent:
        // The later of modified and added; rows with neither sink to the
        // bottom. Written as the files_kind_recent index holds it.
        return QStringLiteral("max(coalesce(f.modified, 0), coalesce(f.added, 0)) DESC");
    case FileSort::name:
        return QStringLiteral("f.name COLLATE NOCASE ASC");
    case FileSort::size:
        return QStringLiteral("f.size DESC");
    case FileSort::kind:
        break;
    }
    return QStringLiteral("f.kind ASC, f.name COLLATE NOCASE ASC");
}
