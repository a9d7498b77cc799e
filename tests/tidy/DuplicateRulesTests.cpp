// Keepers, waste ordering, pruning and the clustering of photo prints.
#include "TidyFixtures.h"
#include "support/RecordFixtures.h"
#include "tidy/Duplicates.h"

#include <gtest/gtest.h>

namespace {

FileRecord file(qint64 id, const QString &path, qint64 size = 10000, std::optional<double> created = {},
                std::optional<double> modified = {})
{
    FileRecord r = RecordFixtures::file(path, size, modified);
    r.id = id;
    r.created = created;
    return r;
}

TEST(DuplicateRules, CopyNames)
{
    const struct
    {
        const char *name;
        bool copy;
    } cases[] = {
        {"a copy.txt", true},       {"a copy 2.txt", true},   {"a-copy.txt", true},     {"a_copy.txt", true},
        {"Report (1).pdf", true},   {"REPORT COPY.PDF", true}, {"copy.txt", false},     {"Report.pdf", false},
        {"a copy2.txt", false},     {"a (x).txt", false},      {"a copy.txt.bak", false}, {"notes copy", true},
        {"copy of a.txt", false},   {"photo (12).jpg", true},
    };
    for (const auto &c : cases)
        EXPECT_EQ(DuplicateRules::hasCopyName(QString::fromUtf8(c.name)), c.copy) << c.name;
}

TEST(DuplicateRules, IdenticalKeeperTakesTheTestsInOrder)
{
    const QString downloads = QStringLiteral("/home/u/Downloads");
    const struct
    {
        const char *what;
        QList<FileRecord> files;
        qint64 keeper;
    } cases[] = {
        {"a copy name loses even outside Downloads",
         {file(1, "/home/u/Documents/Report (1).pdf", 1, 10), file(2, "/home/u/Downloads/Report.pdf", 1, 20)}, 2},
        {"outside Downloads wins over inside",
         {file(1, "/home/u/Downloads/a.txt", 1, 10), file(2, "/home/u/Documents/a.txt", 1, 20)}, 2},
        {"a sibling of Downloads is not inside it",
         {file(1, "/home/u/Downloads-old/a.txt", 1, 10), file(2, "/home/u/Documents/a.txt", 1, 20)}, 1},
        {"the older wins", {file(1, "/a/x.txt", 1, 30), file(2, "/b/x.txt", 1, 20), file(3, "/c/x.txt", 1, 25)}, 2},
        {"modified stands in for a missing created date",
         {file(1, "/a/x.txt", 1, 30), file(2, "/b/x.txt", 1, std::nullopt, 20)}, 2},
        {"a file without dates is the youngest",
         {file(1, "/a/x.txt"), file(2, "/bb/x.txt", 1, 99)}, 2},
        {"equal dates: the shorter path", {file(1, "/long/path/x.txt", 1, 5), file(2, "/p/x.txt", 1, 5)}, 2},
        {"all equal: the first stays", {file(1, "/a/x.txt", 1, 5), file(2, "/b/x.txt", 1, 5)}, 1},
    };
    for (const auto &c : cases)
        EXPECT_EQ(DuplicateRules::identicalKeeper(c.files, downloads).id, c.keeper) << c.what;
}

TEST(DuplicateRules, SimilarKeeperPrefersPixelsThenSize)
{
    auto photo = [](qint64 id, std::optional<qint64> w, std::optional<qint64> h, qint64 size) {
        FileRecord r = file(id, QStringLiteral("/p/%1.jpg").arg(id), size);
        r.width = w;
        r.height = h;
        return r;
    };
    EXPECT_EQ(DuplicateRules::similarKeeper({photo(1, 100, 100, 9), photo(2, 200, 100, 1)}).id, 2);
    EXPECT_EQ(DuplicateRules::similarKeeper({photo(1, 100, 100, 9), photo(2, 100, 100, 10)}).id, 2);
    EXPECT_EQ(DuplicateRules::similarKeeper({photo(1, 100, 100, 9), photo(2, 100, 100, 9)}).id, 1);
    // An absent dimension counts as no pixels.
    EXPECT_EQ(DuplicateRules::similarKeeper({photo(1, std::nullopt, 50, 99), photo(2, 1, 1, 1)}).id, 2);
}

TEST(DuplicateRules, IdentityWasteAndOrder)
{
    DuplicateGroup small{DuplicateGroup::Kind::identical, {file(12, "/a", 10), file(3, "/b", 10)}, {}};
    small.keeper = small.files.first();
    DuplicateGroup large{DuplicateGroup::Kind::similar, {file(2, "/c", 50), file(100, "/d", 70), file(7, "/e", 5)}, {}};
    large.keeper = large.files.at(1);
    DuplicateGroup tie = small;
    tie.files[0].id = 99;

    EXPECT_EQ(small.identity(), QStringLiteral("identical:12,3"));
    EXPECT_EQ(large.identity(), QStringLiteral("similar:100,2,7"));
    EXPECT_EQ(large.wastedBytes(), 55);

    QList<DuplicateGroup> groups{small, large, tie};
    DuplicateRules::sortByWaste(groups);
    EXPECT_EQ(groups, (QList<DuplicateGroup>{large, small, tie}));
}

TEST(DuplicateRules, PruningDropsMovedFilesAndChoosesANewKeeper)
{
    DuplicateGroup group{DuplicateGroup::Kind::identical,
                         {file(1, "/docs/a.txt", 10, 1), file(2, "/docs/a copy.txt", 10, 2), file(3, "/x/a.txt", 10, 3)},
                         {}};
    group.keeper = group.files.first();
    const QString downloads = QStringLiteral("/dl");

    EXPECT_EQ(DuplicateRules::pruned(group, {}, downloads), group);
    const auto withoutKeeper = DuplicateRules::pruned(group, {QStringLiteral("/docs/a.txt")}, downloads);
    ASSERT_TRUE(withoutKeeper);
    EXPECT_EQ(withoutKeeper->files.size(), 2);
    EXPECT_EQ(withoutKeeper->keeper.id, 3) << "the copy name loses";
    const auto keeperStays = DuplicateRules::pruned(group, {QStringLiteral("/x/a.txt")}, downloads);
    ASSERT_TRUE(keeperStays);
    EXPECT_EQ(keeperStays->keeper.id, 1);
    EXPECT_FALSE(DuplicateRules::pruned(group, {QStringLiteral("/x/a.txt"), QStringLiteral("/docs/a.txt")}, downloads));
}

TEST(DuplicateRules, ClusteringChainsThroughNeighboursAndIsStrictAtTheThreshold)
{
    // Points on a line: 0 and 0.3 and 0.6 chain together although 0 and 0.6
    // are far apart; 0.45 away is not close enough.
    auto at = [](float x, float y = 0.0f) { return FeaturePrint::Vector{x, y}; };
    const QList<FeaturePrint::Vector> prints{at(0.0f), at(0.0f, 5.0f), at(0.3f), at(0.45f, 5.0f), at(0.6f), at(9.0f),
                                             FeaturePrint::Vector{9.0f, 0.0f, 0.0f}, at(9.1f)};
    EXPECT_EQ(DuplicateRules::cluster(prints, 0.45f), (QList<QList<int>>{{0, 2, 4}, {5, 7}}));

    // Prints of another length never join, even when their numbers agree.
    const QList<FeaturePrint::Vector> mixed{FeaturePrint::Vector{1.0f, 0.0f}, FeaturePrint::Vector{1.0f, 0.0f, 0.0f}};
    EXPECT_TRUE(DuplicateRules::cluster(mixed, 0.45f).isEmpty());

    CancellationToken token;
    token.cancel();
    EXPECT_TRUE(DuplicateRules::cluster(prints, 0.45f, token).isEmpty());
}

} // namespace
