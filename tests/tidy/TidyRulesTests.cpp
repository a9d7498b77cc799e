// The rules of tidying up: clean-up categories, keepers, waste ordering,
// pruning and the clustering of photo prints.
#include "TidyFixtures.h"
#include "support/RecordFixtures.h"
#include "tidy/CleanupRules.h"
#include "tidy/Duplicates.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

constexpr double now = 1800000000;
constexpr char downloads[] = "/home/a/Downloads";

struct FileShape
{
    const char *path;
    FileKind kind = FileKind::other;
    qint64 size = 1000;
    std::optional<double> addedDaysAgo = {}, modifiedDaysAgo = {}, openedDaysAgo = {}, createdDaysAgo = {};
    bool screenshot = false;
    std::optional<QString> bundleID = {};
};

std::optional<double> ago(std::optional<double> days)
{
    return days ? std::optional(now - *days * 86400) : std::nullopt;
}

FileRecord make(const FileShape &s)
{
    FileRecord r = RecordFixtures::file(QString::fromUtf8(s.path), s.size, ago(s.modifiedDaysAgo), s.kind);
    r.added = ago(s.addedDaysAgo);
    r.opened = ago(s.openedDaysAgo);
    r.created = ago(s.createdDaysAgo);
    r.isScreenshot = s.screenshot;
    r.bundleID = s.bundleID;
    return r;
}

QList<CleanupCategory> categories(const QList<FileRecord> &files, const char *downloadsFolder = downloads)
{
    CleanupRules rules;
    rules.now = now;
    rules.downloadsFolder = QString::fromUtf8(downloadsFolder);
    return rules.categories(files);
}

TEST(CleanupRules, EachFileLandsInTheFirstRuleThatClaimsIt)
{
    const qint64 big = CleanupRules::largeVideoSize;
    const auto app = FileKind::app, image = FileKind::image, video = FileKind::video;
    const struct
    {
        const char *what;
        FileShape shape;
        const char *expected;
        const char *downloadsFolder = downloads;
    } cases[] = {
        {"10-day-old dmg opened yesterday", {.path = "/home/a/Downloads/x.dmg", .addedDaysAgo = 10, .openedDaysAgo = 1}, "installers"},
        {"3-day-old dmg with an old modified date", {.path = "/home/a/Downloads/x.dmg", .addedDaysAgo = 3, .modifiedDaysAgo = 400}, ""},
        {"installer without dates", {.path = "/home/a/x.pkg"}, ""},
        {"old deb", {.path = "/home/a/Downloads/tool_1.0_amd64.deb", .modifiedDaysAgo = 8}, "installers"},
        {"fresh installer does not fall through to downloads", {.path = "/home/a/Downloads/x.snap", .addedDaysAgo = 2, .openedDaysAgo = 400}, ""},
        {"app unused for 181 days", {.path = "/home/a/Applications/x.AppImage", .kind = app, .openedDaysAgo = 181}, "apps"},
        {"app unused for 179 days", {.path = "/home/a/Applications/x.AppImage", .kind = app, .openedDaysAgo = 179}, ""},
        {"app without bundle id is eligible", {.path = "/home/a/x.desktop", .kind = app, .addedDaysAgo = 400}, "apps"},
        {"vendor app", {.path = "/home/a/Safari.app", .kind = app, .openedDaysAgo = 999, .bundleID = u"com.apple.Safari"_s}, ""},
        {"our own app", {.path = "/home/a/larder.AppImage", .kind = app, .openedDaysAgo = 999, .bundleID = u"co.norvale.larder"_s}, ""},
        {"system-managed app", {.path = "/usr/share/applications/gimp.desktop", .kind = app, .openedDaysAgo = 999}, ""},
        {"system flatpak", {.path = "/var/lib/flatpak/exports/share/applications/x.desktop", .kind = app, .openedDaysAgo = 999}, ""},
        {"app in Downloads stays an app", {.path = "/home/a/Downloads/x.AppImage", .kind = app, .openedDaysAgo = 100}, ""},
        {"old screenshot in Downloads", {.path = "/home/a/Downloads/Screenshot_1.png", .kind = image, .openedDaysAgo = 1, .createdDaysAgo = 40, .screenshot = true}, "screenshots"},
        {"young screenshot may still be a download", {.path = "/home/a/Downloads/Screenshot_2.png", .kind = image, .openedDaysAgo = 100, .createdDaysAgo = 5, .screenshot = true}, "downloads"},
        {"screenshot without created uses last use", {.path = "/home/a/Pictures/s.png", .kind = image, .openedDaysAgo = 31, .screenshot = true}, "screenshots"},
        {"video of exactly the large size", {.path = "/home/a/Videos/v.mp4", .kind = video, .size = big, .openedDaysAgo = 200}, "videos"},
        {"video a byte smaller", {.path = "/home/a/Videos/v.mp4", .kind = video, .size = big - 1, .openedDaysAgo = 200}, ""},
        {"big video in Downloads is a video", {.path = "/home/a/Downloads/v.mp4", .kind = video, .size = big, .openedDaysAgo = 365}, "videos"},
        {"download unopened for 91 days", {.path = "/home/a/Downloads/a.pdf", .openedDaysAgo = 91}, "downloads"},
        {"download opened 89 days ago", {.path = "/home/a/Downloads/a.pdf", .openedDaysAgo = 89}, ""},
        {"file without dates", {.path = "/home/a/Downloads/a.pdf"}, ""},
        {"last use falls back to added, then modified", {.path = "/home/a/Downloads/a.pdf", .modifiedDaysAgo = 100}, "downloads"},
        {"added comes before modified for last use", {.path = "/home/a/Downloads/a.pdf", .addedDaysAgo = 10, .modifiedDaysAgo = 100}, ""},
        {"sibling folder of Downloads", {.path = "/home/a/Downloads-old/a.pdf", .openedDaysAgo = 400}, ""},
        {"Downloads folder given with a slash", {.path = "/home/a/Downloads/a.pdf", .openedDaysAgo = 400}, "downloads", "/home/a/Downloads/"},
        {"no Downloads folder known", {.path = "/home/a/Downloads/a.pdf", .openedDaysAgo = 400}, "", ""},
    };
    for (const auto &c : cases) {
        const auto found = categories({make(c.shape)}, c.downloadsFolder);
        ASSERT_LE(found.size(), 1) << c.what;
        EXPECT_EQ(found.isEmpty() ? QString() : CleanupCategory::rawValue(found.first().kind), QString::fromUtf8(c.expected)) << c.what;
    }
}

TEST(CleanupRules, CategoriesComeInOrderWithLargestFilesFirst)
{
    const auto found = categories({make({.path = "/home/a/Downloads/small.pdf", .size = 10, .openedDaysAgo = 400}),
                                   make({.path = "/home/a/x.AppImage", .kind = FileKind::app, .size = 5, .openedDaysAgo = 400}),
                                   make({.path = "/home/a/Downloads/big.pdf", .size = 30, .openedDaysAgo = 400}),
                                   make({.path = "/home/a/Downloads/same.pdf", .size = 10, .openedDaysAgo = 400}),
                                   make({.path = "/home/a/old.dmg", .addedDaysAgo = 30})});
    using Kind = CleanupCategory::Kind;
    ASSERT_EQ(found.size(), 3);
    EXPECT_EQ((QList<Kind>{found.at(0).kind, found.at(1).kind, found.at(2).kind}), (QList<Kind>{Kind::installers, Kind::downloads, Kind::apps}));
    QStringList order;
    for (const FileRecord &f : found.at(1).files)
        order.append(f.name);
    EXPECT_EQ(order, (QStringList{"big.pdf", "small.pdf", "same.pdf"}));
    EXPECT_EQ(found.at(1).bytes(), 50);
}

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
    const std::pair<const char *, bool> cases[] = {
        {"a copy.txt", true},     {"a copy 2.txt", true},    {"a-copy.txt", true},     {"a_copy.txt", true},
        {"Report (1).pdf", true}, {"REPORT COPY.PDF", true}, {"copy.txt", false},      {"Report.pdf", false},
        {"a copy2.txt", false},   {"a (x).txt", false},      {"a copy.txt.bak", false}, {"notes copy", true},
        {"copy of a.txt", false}, {"photo (12).jpg", true},
    };
    for (const auto &[name, copy] : cases)
        EXPECT_EQ(DuplicateRules::hasCopyName(QString::fromUtf8(name)), copy) << name;
}

TEST(DuplicateRules, IdenticalKeeperTakesTheTestsInOrder)
{
    const std::tuple<const char *, QList<FileRecord>, qint64> cases[] = {
        {"a copy name loses even outside Downloads", {file(1, "/home/u/Documents/Report (1).pdf", 1, 10), file(2, "/home/u/Downloads/Report.pdf", 1, 20)}, 2},
        {"outside Downloads wins over inside", {file(1, "/home/u/Downloads/a.txt", 1, 10), file(2, "/home/u/Documents/a.txt", 1, 20)}, 2},
        {"a sibling of Downloads is not inside it", {file(1, "/home/u/Downloads-old/a.txt", 1, 10), file(2, "/home/u/Documents/a.txt", 1, 20)}, 1},
        {"the older wins", {file(1, "/a/x.txt", 1, 30), file(2, "/b/x.txt", 1, 20), file(3, "/c/x.txt", 1, 25)}, 2},
        {"modified stands in for a missing created date", {file(1, "/a/x.txt", 1, 30), file(2, "/b/x.txt", 1, std::nullopt, 20)}, 2},
        {"a file without dates is the youngest", {file(1, "/a/x.txt"), file(2, "/bb/x.txt", 1, 99)}, 2},
        {"equal dates: the shorter path", {file(1, "/long/path/x.txt", 1, 5), file(2, "/p/x.txt", 1, 5)}, 2},
        {"all equal: the first stays", {file(1, "/a/x.txt", 1, 5), file(2, "/b/x.txt", 1, 5)}, 1},
    };
    for (const auto &[what, files, keeper] : cases)
        EXPECT_EQ(DuplicateRules::identicalKeeper(files, u"/home/u/Downloads"_s).id, keeper) << what;
}

TEST(DuplicateRules, SimilarKeeperPrefersPixelsThenSize)
{
    auto keeper = [](std::optional<qint64> width, qint64 size, qint64 otherWidth, qint64 otherSize) {
        FileRecord a = file(1, u"/p/1.jpg"_s, size), b = file(2, u"/p/2.jpg"_s, otherSize);
        a.width = width;
        b.width = otherWidth;
        a.height = b.height = 100;
        return DuplicateRules::similarKeeper({a, b}).id;
    };
    EXPECT_EQ(keeper(100, 9, 200, 1), 2) << "more pixels";
    EXPECT_EQ(keeper(100, 9, 100, 10), 2) << "equal pixels: the larger file";
    EXPECT_EQ(keeper(100, 9, 100, 9), 1) << "all equal: the first";
    EXPECT_EQ(keeper(std::nullopt, 99, 1, 1), 2) << "an absent dimension counts as no pixels";
}

TEST(DuplicateRules, IdentityWasteAndOrder)
{
    DuplicateGroup small{DuplicateGroup::Kind::identical, {file(12, "/a", 10), file(3, "/b", 10)}, file(12, "/a", 10)};
    DuplicateGroup large{DuplicateGroup::Kind::similar, {file(2, "/c", 50), file(100, "/d", 70), file(7, "/e", 5)}, file(100, "/d", 70)};
    DuplicateGroup tie = small;
    tie.files[0].id = 99;
    EXPECT_EQ(small.identity(), u"identical:12,3"_s);
    EXPECT_EQ(large.identity(), u"similar:100,2,7"_s);
    EXPECT_EQ(large.wastedBytes(), 55);
    QList<DuplicateGroup> groups{small, large, tie};
    DuplicateRules::sortByWaste(groups);
    EXPECT_EQ(groups, (QList<DuplicateGroup>{large, small, tie}));
}

TEST(DuplicateRules, PruningDropsMovedFilesAndChoosesANewKeeper)
{
    const DuplicateGroup group{DuplicateGroup::Kind::identical,
                               {file(1, "/docs/a.txt", 10, 1), file(2, "/docs/a copy.txt", 10, 2), file(3, "/x/a.txt", 10, 3)},
                               file(1, "/docs/a.txt", 10, 1)};
    const auto pruned = [&group](const QSet<QString> &moved) { return DuplicateRules::pruned(group, moved, u"/dl"_s); };
    EXPECT_EQ(pruned({}), group);
    const DuplicateGroup withoutKeeper = pruned({u"/docs/a.txt"_s}).value_or(DuplicateGroup());
    EXPECT_EQ(withoutKeeper.identity(), u"identical:2,3"_s);
    EXPECT_EQ(withoutKeeper.keeper.id, 3) << "the copy name loses";
    EXPECT_EQ(pruned({u"/x/a.txt"_s}).value_or(DuplicateGroup()).keeper.id, 1);
    EXPECT_FALSE(pruned({u"/x/a.txt"_s, u"/docs/a.txt"_s}));
}

TEST(DuplicateRules, ClusteringKeepsEveryMemberWithinTheThresholdOfTheFirst)
{
    // 0.3 is close to 0 and 0.6 close to 0.3, but 0.6 is far from 0: it never
    // joins 0's set through 0.3, and takes 0.8 instead. 0.45 away is not close
    // enough, and a print of another length never joins.
    auto at = [](float x, float y = 0.0f) { return FeaturePrint::Vector{x, y}; };
    const QList<FeaturePrint::Vector> prints{at(0.0f), at(0.0f, 5.0f), at(0.3f), at(0.45f, 5.0f), at(0.6f), at(9.0f),
                                             FeaturePrint::Vector{9.0f, 0.0f, 0.0f}, at(9.1f), at(0.8f)};
    EXPECT_EQ(DuplicateRules::cluster(prints, 0.45f), (QList<QList<int>>{{0, 2}, {4, 8}, {5, 7}}));
    EXPECT_TRUE(DuplicateRules::cluster({at(1.0f), FeaturePrint::Vector{1.0f, 0.0f, 0.0f}}, 0.45f).isEmpty());
    CancellationToken token;
    token.cancel();
    EXPECT_TRUE(DuplicateRules::cluster(prints, 0.45f, token).isEmpty());
}

} // namespace
