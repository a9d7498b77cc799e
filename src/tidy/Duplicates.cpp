#include "tidy/Duplicates.h"

#include "core/Paths.h"

#include <QHashFunctions>
#include <QRegularExpression>

#include <algorithm>
#include <limits>
#include <vector>

QString DuplicateGroup::identity() const
{
    QStringList ids;
    ids.reserve(files.size());
    for (const FileRecord &file : files)
        ids.append(QString::number(file.id));
    ids.sort();
    return duplicateGroupKindRawValue(kind) + u':' + ids.join(u',');
}

qint64 DuplicateGroup::wastedBytes() const
{
    qint64 total = 0;
    for (const FileRecord &file : files) {
        if (file.path != keeper.path)
            total += file.size;
    }
    return total;
}

size_t qHash(const DuplicateGroup &group, size_t seed)
{
    return qHash(group.identity(), seed);
}

QString duplicateGroupKindRawValue(DuplicateGroup::Kind kind)
{
    return kind == DuplicateGroup::Kind::identical ? QStringLiteral("identical") : QStringLiteral("similar");
}

namespace DuplicateRules {

namespace {

QString nameWithoutExtension(const QString &name)
{
    const qsizetype dot = name.lastIndexOf(u'.');
    return dot > 0 ? name.left(dot) : name;
}

double dateForAge(const FileRecord &file)
{
    if (file.created)
        return *file.created;
    if (file.modified)
        return *file.modified;
    return std::numeric_limits<double>::infinity();
}

// Whether a should replace b as the best copy to keep.
bool isBetterIdentical(const FileRecord &a, const FileRecord &b, const QString &downloads)
{
    const bool aCopy = hasCopyName(a.name);
    const bool bCopy = hasCopyName(b.name);
    if (aCopy != bCopy)
        return !aCopy;
    const QString inside = downloads + u'/';
    const bool aDownloaded = a.path.startsWith(inside);
    const bool bDownloaded = b.path.startsWith(inside);
    if (aDownloaded != bDownloaded)
        return !aDownloaded;
    const double aDate = dateForAge(a);
    const double bDate = dateForAge(b);
    if (aDate != bDate)
        return aDate < bDate;
    return a.path.size() < b.path.size();
}

qint64 pixels(const FileRecord &file)
{
    return file.width.value_or(0) * file.height.value_or(0);
}

} // namespace

bool hasCopyName(const QString &name)
{
    static const QRegularExpression pattern(QStringLiteral("( copy( \\d+)?| \\(\\d+\\)|-copy|_copy)$"),
                                            QRegularExpression::UseUnicodePropertiesOption);
    return pattern.match(nameWithoutExtension(name).toLower()).hasMatch();
}

QString downloadsFolder()
{
    const QString folder = Paths::userFolder(Paths::UserFolder::Downloads);
    return folder.isEmpty() ? QStringLiteral("~/Downloads") : folder;
}

FileRecord identicalKeeper(const QList<FileRecord> &files, const QString &downloadsFolder)
{
    Q_ASSERT(!files.isEmpty());
    FileRecord best = files.first();
    for (qsizetype i = 1; i < files.size(); ++i) {
        if (isBetterIdentical(files.at(i), best, downloadsFolder))
            best = files.at(i);
    }
    return best;
}

bool isBetterSimilar(const FileRecord &a, const FileRecord &b)
{
    if (pixels(a) != pixels(b))
        return pixels(a) > pixels(b);
    return a.size > b.size;
}

FileRecord similarKeeper(const QList<FileRecord> &files)
{
    Q_ASSERT(!files.isEmpty());
    FileRecord best = files.first();
    for (qsizetype i = 1; i < files.size(); ++i) {
        if (isBetterSimilar(files.at(i), best))
            best = files.at(i);
    }
    return best;
}

FileRecord keeper(DuplicateGroup::Kind kind, const QList<FileRecord> &files, const QString &downloadsFolder)
{
    return kind == DuplicateGroup::Kind::identical ? identicalKeeper(files, downloadsFolder) : similarKeeper(files);
}

void sortByWaste(QList<DuplicateGroup> &groups)
{
    std::stable_sort(groups.begin(), groups.end(), [](const DuplicateGroup &a, const DuplicateGroup &b) {
        return a.wastedBytes() > b.wastedBytes();
    });
}

QList<QList<int>> cluster(const QList<FeaturePrint::Vector> &prints, float threshold, const CancellationToken &token)
{
    const int count = int(prints.size());
    std::vector<bool> taken(size_t(count), false);
    QList<QList<int>> sets;
    for (int centre = 0; centre < count; ++centre) {
        if (token.isCancelled())
            return {};
        if (taken[size_t(centre)])
            continue;
        const FeaturePrint::Vector &a = prints.at(centre);
        QList<int> members{centre};
        for (int j = centre + 1; j < count; ++j) {
            const FeaturePrint::Vector &b = prints.at(j);
            if (taken[size_t(j)] || a.size() != b.size())
                continue;
            if (FeaturePrint::distance(a.constData(), b.constData(), a.size()) < threshold) {
                taken[size_t(j)] = true;
                members.append(j);
            }
        }
        if (members.size() >= 2)
            sets.append(members);
    }
    return sets;
}

std::optional<DuplicateGroup> pruned(const DuplicateGroup &group, const QSet<QString> &movedPaths,
                                     const QString &downloadsFolder)
{
    DuplicateGroup result = group;
    result.files.removeIf([&](const FileRecord &file) { return movedPaths.contains(file.path); });
    if (result.files.size() < 2)
        return std::nullopt;
    if (movedPaths.contains(group.keeper.path))
        result.keeper = keeper(group.kind, result.files, downloadsFolder);
    return result;
}

} // namespace DuplicateRules

DuplicateScanner::DuplicateScanner(IndexStore store)
    : store(std::move(store))
{
}
