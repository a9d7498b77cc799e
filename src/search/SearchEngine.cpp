#include "search/SearchEngine.h"

#include "search/FullTextQuery.h"
#include "store/IndexStore.h"

#include <QSet>

#include <algorithm>

namespace {

// A well-matched request costs one full-text statement; only a thin result
// of several words is widened with any-word matches.
constexpr int widenAtMost = 7;

} // namespace

SearchEngine::SearchEngine(IndexStore &store)
    : m_store(store)
{
}

QList<FileHit> SearchEngine::browse(const FileFilter &filter, int limit) const
{
    QList<FileHit> hits;
    const QList<FileRecord> records = m_store.files().list(filter, FileSort::recent, limit, 0);
    hits.reserve(records.size());
    for (const FileRecord &record : records)
        hits.append(FileHit{record, 0, std::nullopt, std::nullopt});
    return hits;
}

QList<FileHit> SearchEngine::search(const SearchQuery &query, int limit) const
{
    if (query.keywords.isEmpty() && query.relatedTerms.isEmpty())
        return browse(query.filter, limit);

    QList<FileHit> hits;
    if (const auto all = ftsMatchAll(query.keywords, PrefixMatch::lastTokenPrefix))
        hits = m_store.passages().searchFiles(*all, query.filter, limit);

    if (hits.size() <= widenAtMost && query.keywords.size() >= 2) {
        if (const auto any = ftsMatchAny(query.keywords)) {
            QSet<qint64> seen;
            for (const FileHit &hit : std::as_const(hits))
                seen.insert(hit.file.id);
            // All-word hits stay ahead of any-word hits, whatever the scores.
            for (const FileHit &hit : m_store.passages().searchFiles(*any, query.filter, limit)) {
                if (!seen.contains(hit.file.id)) {
                    seen.insert(hit.file.id);
                    hits.append(hit);
                }
            }
        }
    }
    if (hits.size() > std::max(limit, 0))
        hits.resize(std::max(limit, 0));
    return hits;
}

QList<FileHit> SearchEngine::searchBroad(const SearchQuery &query, int limit) const
{
    const auto any = ftsMatchAny(query.keywords + query.relatedTerms);
    if (!any)
        return browse(query.filter, limit);
    return m_store.passages().searchFiles(*any, query.filter, limit);
}
