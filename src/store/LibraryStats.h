// Counts over the whole library, for the status, the home screen and the
// sidebar. Made by IndexStore::stats().
#pragma once

#include "core/DownloadSources.h"
#include "store/FileRecord.h"
#include "store/SQLite.h"

#include <memory>

struct KindStat
{
    FileKind kind = FileKind::other;
    qint64 count = 0;
    qint64 bytes = 0;

    friend bool operator==(const KindStat &, const KindStat &) = default;
};
size_t qHash(const KindStat &stat, size_t seed = 0);

struct SourceStat
{
    DownloadSource source;
    qint64 count = 0;
    qint64 bytes = 0;

    friend bool operator==(const SourceStat &, const SourceStat &) = default;
};
size_t qHash(const SourceStat &stat, size_t seed = 0);

class LibraryStats
{
public:
    struct Counts
    {
        qint64 files = 0;
        qint64 passages = 0;
        qint64 meetings = 0;
    };
    Counts counts() const;
    // In no particular order: callers sort.
    QList<KindStat> kinds() const;
    // Most files first.
    QList<SourceStat> sources() const;

private:
    friend class IndexStore;
    explicit LibraryStats(std::shared_ptr<SQLiteDatabase> db);

    std::shared_ptr<SQLiteDatabase> m_db;
};
