// A source id as the library stores it: the id of a well-known source such
// as "gmail", or "web:" and a host for any other site. The table of known
// sources and the classification live with the indexer (DownloadSources.h).
#pragma once

#include <QHash>
#include <QString>

struct DownloadSource
{
    QString id;

    friend bool operator==(const DownloadSource &, const DownloadSource &) = default;
};

inline size_t qHash(const DownloadSource &source, size_t seed = 0)
{
    return qHash(source.id, seed);
}
