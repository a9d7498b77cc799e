// The scan itself: size twins hashed, photos fingerprinted and clustered.
#include "tidy/Duplicates.h"

#include "store/FileQuery.h"
#include "tidy/FileDigest.h"
#include "tidy/PhotoRules.h"

#include <limits>

QList<DuplicateGroup> DuplicateScanner::findIdentical(const Progress &progress, const CancellationToken &token) const
{
    const QList<QList<FileRecord>> runs = store.tidy().sizeDuplicates(minimumSize);
    qsizetype total = 0;
    for (const auto &run : runs)
        total += run.size();

    const QString downloads = DuplicateRules::downloadsFolder();
    QList<DuplicateGroup> groups;
    qsizetype index = 0;
    for (const QList<FileRecord> &run : runs) {
        if (run.size() < 2) {
            index += run.size();
            continue;
        }
        // Digest -> members, in the order the digests first appear.
        QStringList digests;
        QHash<QString, QList<FileRecord>> byDigest;
        for (FileRecord file : run) {
            if (token.isCancelled())
                return groups;
            if (progress && index % 20 == 0)
                progress(double(index) / double(total));
            ++index;
            std::optional<QString> digest = file.sha256;
            if (!digest || digest->isEmpty()) {
                // A file that vanished or can't be read is left out.
                digest = FileDigest::sha256(file.path, token);
                if (!digest)
                    continue;
                store.tidy().setDigest(file.id, *digest);
                file.sha256 = digest;
            }
            if (!byDigest.contains(*digest))
                digests.append(*digest);
            byDigest[*digest].append(file);
        }
        for (const QString &digest : digests) {
            QList<FileRecord> members = byDigest.value(digest);
            if (members.size() < 2)
                continue;
            std::stable_sort(members.begin(), members.end(),
                             [](const FileRecord &a, const FileRecord &b) { return a.path < b.path; });
            const FileRecord keeper = DuplicateRules::identicalKeeper(members, downloads);
            groups.append({DuplicateGroup::Kind::identical, members, keeper});
        }
    }
    DuplicateRules::sortByWaste(groups);
    return groups;
}

QList<DuplicateGroup> DuplicateScanner::findSimilar(const QSet<qint64> &excluding, const Progress &progress,
                                                    const CancellationToken &token) const
{
    FileFilter images;
    images.kinds = {FileKind::image};
    QList<FileRecord> candidates;
    for (const FileRecord &record : store.files().list(images, FileSort::recent, std::numeric_limits<int>::max())) {
        if (excluding.contains(record.id) || !PhotoRules::mayBePhoto(record))
            continue;
        candidates.append(record);
        // The pairwise step is quadratic.
        if (candidates.size() >= maxImages)
            break;
    }

    QList<qint64> ids;
    ids.reserve(candidates.size());
    for (const FileRecord &record : candidates)
        ids.append(record.id);
    const QHash<qint64, QByteArray> stored = store.tidy().featurePrints(ids);

    struct Printed
    {
        FileRecord record;
        FeaturePrint::Vector print;
    };
    QList<Printed> printed;
    for (qsizetype i = 0; i < candidates.size(); ++i) {
        if (token.isCancelled())
            return {};
        if (progress && i % 25 == 0)
            progress(double(i) / double(candidates.size()));
        const FileRecord &record = candidates.at(i);
        std::optional<FeaturePrint::Vector> print;
        if (const auto bytes = stored.find(record.id); bytes != stored.end())
            print = FeaturePrint::decode(*bytes);
        if (!print) {
            // An image that can't be decoded gets no print and stays out.
            print = FeaturePrint::compute(record.path);
            if (!print)
                continue;
            store.tidy().setFeaturePrint(record.id, FeaturePrint::encode(*print));
        }
        // An empty print is a picture that isn't a photo.
        if (!print->isEmpty())
            printed.append({record, *print});
    }

    // Best keeper first, so that each group gathers around its keeper.
    std::stable_sort(printed.begin(), printed.end(), [](const Printed &a, const Printed &b) {
        return DuplicateRules::isBetterSimilar(a.record, b.record);
    });
    QList<FeaturePrint::Vector> prints;
    prints.reserve(printed.size());
    for (const Printed &entry : printed)
        prints.append(entry.print);

    QList<DuplicateGroup> groups;
    for (const QList<int> &set : DuplicateRules::cluster(prints, similarityThreshold, token)) {
        QList<FileRecord> members;
        for (int i : set)
            members.append(printed.at(i).record);
        groups.append({DuplicateGroup::Kind::similar, members, members.first()});
    }
    DuplicateRules::sortByWaste(groups);
    return groups;
}
