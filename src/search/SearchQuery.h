// The plain values every search is expressed in, and the compilation of a
// filter into the WHERE clause of the store's statements.
#pragma once

#include "store/FileRecord.h"
#include "store/SQLite.h"

#include <QList>
#include <QSet>
#include <QString>
#include <QStringList>

#include <optional>

enum class DateField { modified, added, opened, created };
QString dateFieldRawValue(DateField field);
std::optional<DateField> dateFieldFromRawValue(const QString &raw);
const QList<DateField> &allDateFields();

enum class FileSort { recent, name, size, kind };
QString fileSortRawValue(FileSort sort);
std::optional<FileSort> fileSortFromRawValue(const QString &raw);
const QList<FileSort> &allFileSorts();

struct FileFilter
{
    QSet<FileKind> kinds; // empty: any kind
    QSet<QString> extensions; // lower-case, no dot; empty: any
    DateField dateField = DateField::modified;
    std::optional<double> dateFrom; // inclusive, seconds since 1970
    std::optional<double> dateTo; // exclusive
    std::optional<qint64> minSize; // inclusive, bytes
    std::optional<qint64> maxSize; // inclusive
    QSet<QString> sources; // source ids; empty: any
    bool screenshotsOnly = false;
    std::optional<QString> folder; // only files under this absolute folder

    friend bool operator==(const FileFilter &, const FileFilter &) = default;
};

struct SearchQuery
{
    QString raw; // exactly as typed
    QStringList keywords; // terms that must match, in request order
    QStringList relatedTerms; // only for widening
    FileFilter filter;
    std::optional<QString> dateLabel; // names the date range on a chip
    std::optional<QString> summary; // one-line restatement

    friend bool operator==(const SearchQuery &, const SearchQuery &) = default;
};

struct FileHit
{
    FileRecord file;
    double score = 0; // higher is better
    std::optional<QString> snippet; // matched words between ⟦ and ⟧
    std::optional<QString> reason; // from the reranker

    friend bool operator==(const FileHit &, const FileHit &) = default;
};
size_t qHash(const FileHit &hit, size_t seed = 0);

// A WHERE clause over the table files aliased f, with one value per "?".
struct CompiledFilter
{
    QString clause;
    SQLBindings bindings;
};

// A pure function of the filter's value: set members are bound in sorted
// order, so equal filters give equal text and bindings.
CompiledFilter compileFilter(const FileFilter &filter);
// The ORDER BY text of a sort.
QString compileSort(FileSort sort);
