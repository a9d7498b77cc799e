// Finding files that are byte-for-byte identical and photos that look alike,
// and proposing for each group which copy to keep.
#pragma once

#include "core/Tasks.h"
#include "store/FileRecord.h"
#include "store/IndexStore.h"
#include "tidy/FeaturePrint.h"

#include <QList>
#include <QSet>
#include <QString>

#include <functional>

struct DuplicateGroup
{
    enum class Kind { identical, similar };

    Kind kind = Kind::identical;
    QList<FileRecord> files; // at least two
    FileRecord keeper;

    // "identical:12,3,45": the kind and the member ids sorted as text, so it
    // survives a rescan while the membership is unchanged.
    QString identity() const;
    // The bytes that removing every member but the keeper would free.
    qint64 wastedBytes() const;

    friend bool operator==(const DuplicateGroup &, const DuplicateGroup &) = default;
};

size_t qHash(const DuplicateGroup &group, size_t seed = 0);
// "identical" or "similar".
QString duplicateGroupKindRawValue(DuplicateGroup::Kind kind);

// The rules that pick keepers and order groups, shared by the scanner and by
// the model when files leave a group.
namespace DuplicateRules {

// The name without its extension ends like a copy: " copy", " copy 2", " (1)",
// "-copy" or "_copy".
bool hasCopyName(const QString &name);

// The Downloads folder that counts against a copy: the XDG user folder, or
// "~/Downloads" when it is turned off.
QString downloadsFolder();

// Of byte-identical copies: the one without a copy name, then outside the
// Downloads folder, then the oldest, then with the shorter path, then the
// first. files must not be empty.
FileRecord identicalKeeper(const QList<FileRecord> &files, const QString &downloadsFolder);
// Of similar photos: the most pixels, then the larger file, then the first.
FileRecord similarKeeper(const QList<FileRecord> &files);
// Whether a is the better photo to keep than b by the rule of similarKeeper.
bool isBetterSimilar(const FileRecord &a, const FileRecord &b);
FileRecord keeper(DuplicateGroup::Kind kind, const QList<FileRecord> &files, const QString &downloadsFolder);

// Most wasted bytes first; ties keep their order.
void sortByWaste(QList<DuplicateGroup> &groups);

// Sets of indexes whose prints lie within threshold of the set's first
// member, which the caller makes the keeper by ordering the prints best
// first. Walking the prints in order, each one not yet taken gathers every
// later untaken print closer than threshold; neighbours of neighbours never
// join through a chain. Only sets of two or more, ordered by their first
// member, members ascending. Nothing when the token is cancelled.
QList<QList<int>> cluster(const QList<FeaturePrint::Vector> &prints, float threshold,
                          const CancellationToken &token = CancellationToken::none());

// The group without the files at movedPaths: nothing when fewer than two
// remain, and a new keeper by the group's rule when the keeper went.
std::optional<DuplicateGroup> pruned(const DuplicateGroup &group, const QSet<QString> &movedPaths,
                                     const QString &downloadsFolder);

} // namespace DuplicateRules

// The work of a duplicates scan, away from the main thread. Digests and
// prints are written back one by one, so that an interrupted scan still
// leaves its work in the library.
class DuplicateScanner
{
public:
    using Progress = std::function<void(double fraction)>;

    explicit DuplicateScanner(IndexStore store);

    IndexStore store;
    float similarityThreshold = 0.45f;
    int maxImages = 4000;
    // Files smaller than this never take part in the identical scan.
    static constexpr qint64 minimumSize = 4096;

    // Groups of byte-identical files, most wasted bytes first. Progress runs
    // from 0 to 1. Throws SQLiteError; a cancelled scan returns what it has.
    QList<DuplicateGroup> findIdentical(const Progress &progress,
                                        const CancellationToken &token = CancellationToken::none()) const;
    // Groups of photos that look alike, leaving out the files in excluding.
    QList<DuplicateGroup> findSimilar(const QSet<qint64> &excluding, const Progress &progress,
                                      const CancellationToken &token = CancellationToken::none()) const;
};
