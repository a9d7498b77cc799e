// The two optional, paid steps that lift a search above the local parser:
// SearchPlanner has Claude turn the request into a plan of words and
// filters, and SearchReranker shows Claude the best candidates and takes back
// its picks with a reason each. Both are one structured call each; they block
// on the network, so run them off the main thread. Neither catches anything:
// the client's errors, cancellation included, reach the caller.
#pragma once

#include "search/SearchPlan.h"

#include <QDateTime>

class CancellationToken;
class ClaudeClient;
class SearchEngine;
struct MessageRequest;

namespace ClaudeSearch {

// A Claude step gathers this many candidates, shows the first rerankShown of
// them to Claude, and keeps the picks of pickRelevance and above.
inline constexpr int candidateLimit = 40;
inline constexpr int rerankShown = 30;
inline constexpr double pickRelevance = 0.35;

} // namespace ClaudeSearch

class SearchPlanner
{
public:
    SearchPlanner(const ClaudeClient &client, QString model);

    SearchPlan plan(const QString &text, const QDateTime &now, const UserCalendar &calendar,
                    const CancellationToken &token) const;

    // The request plan() sends.
    MessageRequest request(const QString &text, const QDateTime &now, const UserCalendar &calendar) const;

private:
    const ClaudeClient &m_client;
    QString m_model;
};

class SearchReranker
{
public:
    SearchReranker(const ClaudeClient &client, QString model);

    // Claude's picks among the hits, best first as Claude gave them; a pick
    // whose id was not among the hits is dropped. No hits: no call, no picks.
    QList<RankedMatch> rank(const QString &text, const std::optional<QString> &summary, const QList<FileHit> &hits,
                            const CancellationToken &token) const;

    // The request rank() sends.
    MessageRequest request(const QString &text, const std::optional<QString> &summary,
                           const QList<FileHit> &hits) const;

private:
    const ClaudeClient &m_client;
    QString m_model;
};

// One candidate as Claude reads it: "[12] lease.pdf | Document .pdf | 2 KB |
// modified 2024-03-01 | from Gmail | ~/Housing | excerpt: "…"", the facts the
// file has, the home folder written as "~", the excerpt without match markers.
QString candidateLine(const FileHit &hit, const QString &home);

// The candidates of a Claude step: the widened search of the merged query;
// when that finds nine files or fewer, the plain search of the local query
// tops it up, so that a plan whose vocabulary missed still finds what the
// typed words find. Throws what the store throws.
QList<FileHit> claudeCandidates(const SearchEngine &engine, const SearchQuery &merged, const SearchQuery &local);

// The picks of pickRelevance and above, in Claude's order, as the hits they
// name with Claude's reason and its relevance as the score.
QList<FileHit> rankedPicks(const QList<RankedMatch> &matches, const QList<FileHit> &shown);

// The hits without those that are picks, in their order.
QList<FileHit> withoutPicks(const QList<FileHit> &hits, const QList<FileHit> &picks);
