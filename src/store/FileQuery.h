// What a listing or a search of files asks of the library: the filter, the
// sort and the hit, and their compilation into the WHERE and ORDER BY text of
// the store's statements.
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
    QSet<FileKind> kinds{}; // empty: any kind
    QSet<QString> extensions{}; // lower-case, no dot; empty: any
    DateField dateField = DateField::modified;
    std::optional<double> dateFrom{}; // inclusive, seconds since 1970
    std::optional<double> dateTo{}; // exclusive
    std::optional<qint64> minSize{}; // inclusive, bytes
    std::optional<qint64> maxSize{}; // inclusive
    QSet<QString> sources{}; // source ids; empty: any
    bool screenshotsOnly = false;
    std::optional<QString> folder{}; // only files under this absolute folder

    friend bool operator==(const FileFilter &, const FileFilter &) = default;
};

struct FileHit
{
    FileRecord file;
    double score = 0; // higher is better
    std::optional<QString> snippet{}; // matched words between ⟦ and ⟧
    std::optional<QString> reason{}; // from the reranker

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

// How the phrases of a full-text match are joined. A match of one phrase, or
// of phrases joined by OR, lets the ranking gather its rows phrase by phrase.
enum class PhraseJoin {
    any, // one phrase, or phrases joined by OR
    all, // phrases joined by AND
};

// A full-text match expression, as the search layer's builders make it
// (valid FTS5, never user text as it stands), with how its phrases join.
struct FullTextMatch
{
    QString expression;
    PhraseJoin join = PhraseJoin::all;

    friend bool operator==(const FullTextMatch &, const FullTextMatch &) = default;
};
