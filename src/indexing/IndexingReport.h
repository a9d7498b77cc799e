// What the latest indexing of a library came to, kept on disk so that a
// later `larder status` can tell: when it ran, its last error, and how many
// names its scan left out because they aren't valid UTF-8 and how many
// folders because they couldn't be read.
//
// One JSON file, $XDG_STATE_HOME/Larder/indexing.json, holds a report per
// library file, keyed by the library's path. It is rewritten atomically.
#pragma once

#include <QString>
#include <QStringList>

#include <optional>

struct IndexingReport
{
    QStringList roots;
    std::optional<double> startedAt; // seconds since 1970
    std::optional<double> scannedAt; // the end of the last complete scan
    std::optional<QString> lastError;
    std::optional<double> lastErrorAt;
    qint64 skippedNames = 0; // in the last scan
    qint64 unreadableFolders = 0; // in the last scan

    friend bool operator==(const IndexingReport &, const IndexingReport &) = default;

    // The report of a library; an empty one when there is none or the file
    // can't be read.
    static IndexingReport load(const QString &library);
    // Replaces the report of a library. Failures are silent: the report is a
    // courtesy, never a reason for indexing to stop.
    void save(const QString &library) const;

    static QString file();
};
