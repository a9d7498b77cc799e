// Turns a SearchQuery into a ranked list of hits. It writes the full-text
// match expressions and decides which of the store's statements to run and
// how to combine them; the statements themselves belong to the store. Safe to
// call from any thread; it blocks, so never call it on the main thread.
#pragma once

#include "search/SearchQuery.h"

class IndexStore;

class SearchEngine
{
public:
    explicit SearchEngine(IndexStore &store);

    // The strict search: every keyword must match, the last one as a prefix.
    // When that finds seven files or fewer and there are two keywords or more,
    // files matching any keyword follow. No keywords at all is a browse of the
    // newest files under the filter. Throws what the store throws.
    QList<FileHit> search(const SearchQuery &query, int limit) const;

    // The widened search: any of the keywords or related terms. Without a
    // usable term, the same browse as search(). Throws what the store throws.
    QList<FileHit> searchBroad(const SearchQuery &query, int limit) const;

    IndexStore &store() const { return m_store; }

private:
    QList<FileHit> browse(const FileFilter &filter, int limit) const;

    IndexStore &m_store;
};
