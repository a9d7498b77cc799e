// What a request that found nothing may have meant, in the library's own
// words: the search screen and `larder search` offer it as "Did you mean …".
// Reads the library; never call it on the main thread.
#pragma once

#include "core/Tasks.h"
#include "search/SearchQuery.h"

class IndexStore;

class SpellingSuggester
{
public:
    // Once the token is cancelled (the request changed), the suggester stops
    // reading the library and gives no suggestion.
    explicit SpellingSuggester(IndexStore &store, CancellationToken token = CancellationToken::none());

    // The request with each keyword the library doesn't hold replaced by
    // the closest of its words (the one in the most passages among equally
    // close ones), under the same filter, and its text with those words
    // replaced. Absent when no keyword was replaced or the new request finds
    // no file. Throws what the store throws.
    std::optional<SearchQuery> suggestion(const SearchQuery &query) const;

private:
    // The library's word closest to a keyword it doesn't hold, spelled with
    // the keyword's ending. Absent for a held keyword or one with nothing close.
    std::optional<QString> correction(const QString &keyword) const;

    IndexStore &m_store;
    CancellationToken m_token;
};
