#include "tidy/Duplicates.h"

#include "core/Paths.h"

#include <QHashFunctions>
#include <QRegularExpression>

#include <algorithm>
#include <limits>
#include <numeric>

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

bool isBetterSimilar(const FileRecord &a, const FileRecord &b)
{
    if (pixels(a) != pixels(b))
        return pixels(a) > pixels(b);
    return a.size > b.size;
}

// Disjoint sets over indexes, with path compression.
class UnionFind
{
public:
    explicit UnionFind(int count) : m_parent(count) { std::iota(m_parent.begin(), m_parent.end(), 0); }

    int find(int i)
    {
        int root = i;
        while (m_parent[root] != root)
            root = m_parent[root];
        while (m_parent[i] != root) {
            const int next = m_parent[i];
            m_parent[i] = root;
            i = next;
        }
        return root;
    }

    void unite(int a, int b)
    {
        const int ra = find(a);
        const int rb = find(b);
        if (ra != rb)
            m_parent[std::max(ra, rb)] = std::min(ra, rb);
    }

private:
    std::vector<int> m_parent;
};

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
    UnionFind sets(count);
    for (int i = 0; i < count; ++i) {
        if (token.isCancelled())
            return {};
        const FeaturePrint::Vector &a = prints.at(i);
        for (int j = i + 1; j < count; ++j) {
            const FeaturePrint::Vector &b = prints.at(j);
            if (a.size() != b.size())
                continue;
            if (FeaturePrint::distance(a.constData(), b.constData(), a.size()) < threshold)
                sets.unite(i, j);
        }
    }
    // Roots are the smallest index of their set, so walking the indexes in
    // order meets the sets in the order of their first member.
    QList<QList<int>> members;
    QHash<int, qsizetype> slotOfRoot;
    for (int i = 0; i < count; ++i) {
        const int root = sets.find(i);
        auto slot = slotOfRoot.find(root);
        if (slot == slotOfRoot.end()) {
            slot = slotOfRoot.insert(root, members.size());
            members.append(QList<int>());
        }
        members[*slot].append(i);
    }
    members.removeIf([](const QList<int> &set) { return set.size() < 2; });
    return members;
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

bool DuplicateScanner::isPhotoCandidate(const FileRecord &record)
{
    static const QSet<QString> drawnFormats{QStringLiteral("svg"), QStringLiteral("gif"), QStringLiteral("ico"),
                                            QStringLiteral("icns")};
    // Screenshots look alike by nature and would fill the list.
    return record.kind == FileKind::image && !drawnFormats.contains(record.ext) && !record.isScreenshot
        && !record.path.isEmpty();
}
