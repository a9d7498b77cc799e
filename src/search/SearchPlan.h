// What Claude makes of a search request: a plan of keywords, related
// vocabulary and filters to lay over the locally parsed query, and the
// short list of picks it takes back from the candidates it was shown. Both
// are read leniently: a missing key and a value of the wrong type read alike,
// as the field's empty value.
#pragma once

#include "search/SearchQuery.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

class JSONDecoder;
struct UserCalendar;

struct SearchPlan
{
    static constexpr const char *typeName = "SearchPlan";

    QStringList keywords;
    QStringList relatedTerms;
    QStringList kinds; // FileKind raw values
    QStringList extensions;
    QString dateField; // a DateField raw value, or "any"
    QString dateFrom; // "YYYY-MM-DD" or empty
    QString dateTo; // "YYYY-MM-DD", inclusive, or empty
    qint64 minBytes = 0; // 0 when not asked for
    qint64 maxBytes = 0;
    QStringList sources; // source ids
    bool screenshotsOnly = false;
    QString summary; // at most eight words

    static SearchPlan decode(const JSONDecoder &decoder);

    friend bool operator==(const SearchPlan &, const SearchPlan &) = default;
};

// One of Claude's picks among the candidates.
struct RankedMatch
{
    qint64 id = 0; // a file id
    double relevance = 0; // 0 to 1
    QString reason;

    friend bool operator==(const RankedMatch &, const RankedMatch &) = default;
};

// The reranker's answer. Entries without a usable file id are skipped;
// relevance is held to 0 to 1.
struct RankedMatches
{
    static constexpr const char *typeName = "RankedMatches";

    QList<RankedMatch> matches;

    static RankedMatches decode(const JSONDecoder &decoder);
};

// The text of a date range on a chip, from its inclusive start and exclusive
// end (either may be absent): "Mar 31, 2024", "Mar 1, 2024 – Mar 31, 2024",
// "Since Mar 1, 2024", "Before Apr 1, 2024"; absent for no bounds. Days are
// the calendar's, written in its locale's abbreviated style.
std::optional<QString> dateLabel(std::optional<double> from, std::optional<double> to, const UserCalendar &calendar);
