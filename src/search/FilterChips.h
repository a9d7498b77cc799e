// How a query was understood, as the row of chips the search screen shows
// and `larder search --explain` prints: kinds, extensions, screenshots, the
// date, sizes, sources and keywords, in that order.
#pragma once

#include "search/SearchQuery.h"

#include <QColor>

struct FilterChip
{
    enum class Facet { kind, ext, source, keyword, date, minSize, maxSize, screenshots };

    Facet facet = Facet::keyword;
    // The kind of a kind chip; the extension, source id or keyword of the
    // others that carry a value.
    FileKind kind = FileKind::other;
    QString value;
    QString label;
    QString symbol; // an icon name; empty for keywords

    friend bool operator==(const FilterChip &, const FilterChip &) = default;
};

QList<FilterChip> filterChips(const SearchQuery &query);

// The colour of a chip, which tells the facets apart: one per kind, one per
// other facet, and a neutral one for keywords.
QColor chipTint(const FilterChip &chip);
