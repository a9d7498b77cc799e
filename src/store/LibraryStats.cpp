#include "store/LibraryStats.h"

size_t qHash(const KindStat &stat, size_t seed)
{
    return qHashMulti(seed, int(stat.kind), stat.count, stat.bytes);
}

size_t qHash(const SourceStat &stat, size_t seed)
{
    return qHashMulti(seed, stat.source, stat.count, stat.bytes);
}

LibraryStats::LibraryStats(std::shared_ptr<SQLiteDatabase> db)
    : m_db(std::move(db))
{
}

LibraryStats::Counts LibraryStats::counts() const
{
    const auto rows = m_db->query(QStringLiteral("SELECT (SELECT COUNT(*) FROM files) AS files, "
                                                 "(SELECT COUNT(*) FROM passages) AS passages, "
                                                 "(SELECT COUNT(*) FROM meetings) AS meetings"));
    Counts counts;
    if (rows.isEmpty())
        return counts;
    counts.files = rows.first().integer(QStringLiteral("files")).value_or(0);
    counts.passages = rows.first().integer(QStringLiteral("passages")).value_or(0);
    counts.meetings = rows.first().integer(QStringLiteral("meetings")).value_or(0);
    return counts;
}

QList<KindStat> LibraryStats::kinds() const
{
    QList<KindStat> stats;
    const auto rows = m_db->query(
        QStringLiteral("SELECT kind, COUNT(*) AS n, COALESCE(SUM(size), 0) AS bytes FROM files GROUP BY kind"));
    for (const SQLRow &row : rows) {
        const QString raw = row.string(QStringLiteral("kind")).value_or(QString());
        const FileKind kind = fileKindFromRawValue(raw);
        // Unknown kinds read as other elsewhere; here they are left out.
        if (fileKindRawValue(kind) != raw)
            continue;
        stats.append({kind, row.integer(QStringLiteral("n")).value_or(0), row.integer(QStringLiteral("bytes")).value_or(0)});
    }
    return stats;
}

QList<SourceStat> LibraryStats::sources() const
{
    QList<SourceStat> stats;
    const auto rows = m_db->query(QStringLiteral("SELECT source, COUNT(*) AS n, COALESCE(SUM(size), 0) AS bytes "
                                                 "FROM files WHERE source IS NOT NULL GROUP BY source ORDER BY n DESC"));
    for (const SQLRow &row : rows) {
        stats.append({DownloadSource{row.string(QStringLiteral("source")).value_or(QString())},
                      row.integer(QStringLiteral("n")).value_or(0), row.integer(QStringLiteral("bytes")).value_or(0)});
    }
    return stats;
}
