// A request as the search layer understands it: the words to match and the
// filter of the files they may come from.
#pragma once

#include "store/FileQuery.h"

#include <QString>
#include <QStringList>

#include <optional>

struct SearchPlan;
struct UserCalendar;

struct SearchQuery
{
    QString raw; // exactly as typed
    QStringList keywords; // terms that must match, in request order
    QStringList relatedTerms; // only for widening
    FileFilter filter;
    std::optional<QString> dateLabel; // names the date range on a chip
    std::optional<QString> summary; // one-line restatement

    // This query with Claude's plan laid over it: each part of the plan that
    // brings something replaces its part here; the rest stays. Cannot fail:
    // unknown kinds and sources and unreadable dates are left out one by one.
    SearchQuery merged(const SearchPlan &plan, const UserCalendar &calendar) const;

    friend bool operator==(const SearchQuery &, const SearchQuery &) = default;
};
