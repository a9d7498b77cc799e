// Which files the clean-up suggestions pick, and in which category.
#include "TidyFixtures.h"
#include "support/RecordFixtures.h"
#include "tidy/CleanupRules.h"

#include <gtest/gtest.h>

namespace {

constexpr double now = 1800000000;
constexpr double day = 86400;
constexpr char downloads[] = "/home/a/Downloads";

struct FileShape
{
    const char *path;
    FileKind kind = FileKind::other;
    qint64 size = 1000;
    std::optional<double> addedDaysAgo = {};
    std::optional<double> modifiedDaysAgo = {};
    std::optional<double> openedDaysAgo = {};
    std::optional<double> createdDaysAgo = {};
    bool screenshot = false;
    std::optional<QString> bundleID = {};
};

FileRecord make(const FileShape &s)
{
    const auto ago = [](std::optional<double> days) -> std::optional<double> {
        if (!days)
            return std::nullopt;
        return now - *days * day;
    };
    FileRecord r = RecordFixtures::file(QString::fromUtf8(s.path), s.size, ago(s.modifiedDaysAgo), s.kind);
    r.added = ago(s.addedDaysAgo);
    r.opened = ago(s.openedDaysAgo);
    r.created = ago(s.createdDaysAgo);
    r.isScreenshot = s.screenshot;
    r.bundleID = s.bundleID;
    return r;
}

CleanupRules rules(const char *downloadsFolder = downloads)
{
    CleanupRules r;
    r.now = now;
    r.downloadsFolder = QString::fromUtf8(downloadsFolder);
    return r;
}

TEST(CleanupRules, EachFileLandsInTheFirstRuleThatClaimsIt)
{
    const qint64 big = 500000000;
    const auto app = FileKind::app;
    const auto image = FileKind::image;
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
        {"old flatpakref", {.path = "/srv/app.flatpakref", .addedDaysAgo = 30}, "installers"},
        {"fresh installer does not fall through to downloads", {.path = "/home/a/Downloads/x.snap", .addedDaysAgo = 2, .openedDaysAgo = 400}, ""},
        {"app unused for 181 days", {.path = "/home/a/Applications/x.AppImage", .kind = app, .openedDaysAgo = 181}, "apps"},
        {"app unused for 179 days", {.path = "/home/a/Applications/x.AppImage", .kind = app, .openedDaysAgo = 179}, ""},
        {"app without bundle id is eligible", {.path = "/home/a/x.desktop", .kind = app, .addedDaysAgo = 400}, "apps"},
        {"vendor app", {.path = "/home/a/Safari.app", .kind = app, .openedDaysAgo = 999, .bundleID = QStringLiteral("com.apple.Safari")}, ""},
        {"our own app", {.path = "/home/a/larder.AppImage", .kind = app, .openedDaysAgo = 999, .bundleID = QStringLiteral("co.norvale.larder")}, ""},
        {"system-managed app", {.path = "/usr/share/applications/gimp.desktop", .kind = app, .openedDaysAgo = 999}, ""},
        {"system flatpak", {.path = "/var/lib/flatpak/exports/share/applications/x.desktop", .kind = app, .openedDaysAgo = 999}, ""},
        {"app in Downloads stays an app", {.path = "/home/a/Downloads/x.AppImage", .kind = app, .openedDaysAgo = 100}, ""},
        {"old screenshot in Downloads", {.path = "/home/a/Downloads/Screenshot_1.png", .kind = image, .openedDaysAgo = 1, .createdDaysAgo = 40, .screenshot = true}, "screenshots"},
        {"young screenshot may still be a download", {.path = "/home/a/Downloads/Screenshot_2.png", .kind = image, .openedDaysAgo = 100, .createdDaysAgo = 5, .screenshot = true}, "downloads"},
        {"young screenshot elsewhere", {.path = "/home/a/Pictures/Screenshot_3.png", .kind = image, .openedDaysAgo = 100, .createdDaysAgo = 5, .screenshot = true}, ""},
        {"screenshot without created uses last use", {.path = "/home/a/Pictures/s.png", .kind = image, .openedDaysAgo = 31, .screenshot = true}, "screenshots"},
        {"video of exactly 500,000,000 bytes", {.path = "/home/a/Videos/v.mp4", .kind = FileKind::video, .size = big, .openedDaysAgo = 200}, "videos"},
        {"video a byte smaller", {.path = "/home/a/Videos/v.mp4", .kind = FileKind::video, .size = big - 1, .openedDaysAgo = 200}, ""},
        {"big video in Downloads is a video", {.path = "/home/a/Downloads/v.mp4", .kind = FileKind::video, .size = big, .openedDaysAgo = 365}, "videos"},
        {"download unopened for 91 days", {.path = "/home/a/Downloads/a.pdf", .openedDaysAgo = 91}, "downloads"},
        {"download opened 89 days ago", {.path = "/home/a/Downloads/a.pdf", .openedDaysAgo = 89}, ""},
        {"last use falls back to added, then modified", {.path = "/home/a/Downloads/a.pdf", .modifiedDaysAgo = 100}, "downloads"},
        {"added comes before modified for last use", {.path = "/home/a/Downloads/a.pdf", .addedDaysAgo = 10, .modifiedDaysAgo = 100}, ""},
        {"sibling folder of Downloads", {.path = "/home/a/Downloads-old/a.pdf", .openedDaysAgo = 400}, ""},
        {"file without dates", {.path = "/home/a/Downloads/a.pdf"}, ""},
        {"Downloads folder given with a slash", {.path = "/home/a/Downloads/a.pdf", .openedDaysAgo = 400}, "downloads", "/home/a/Downloads/"},
        {"no Downloads folder known", {.path = "/home/a/Downloads/a.pdf", .openedDaysAgo = 400}, "", ""},
    };
    for (const auto &c : cases) {
        const auto categories = rules(c.downloadsFolder).categories({make(c.shape)});
        ASSERT_LE(categories.size(), 1) << c.what;
        const QString category = categories.isEmpty() ? QString() : CleanupCategory::rawValue(categories.first().kind);
        EXPECT_EQ(category, QString::fromUtf8(c.expected)) << c.what;
    }
}

TEST(CleanupRules, CategoriesComeInOrderWithLargestFilesFirst)
{
    const QList<FileRecord> files{
        make({.path = "/home/a/Downloads/small.pdf", .size = 10, .openedDaysAgo = 400}),
        make({.path = "/home/a/x.AppImage", .kind = FileKind::app, .size = 5, .openedDaysAgo = 400}),
        make({.path = "/home/a/Downloads/big.pdf", .size = 30, .openedDaysAgo = 400}),
        make({.path = "/home/a/Downloads/same.pdf", .size = 10, .openedDaysAgo = 400}),
        make({.path = "/home/a/old.dmg", .addedDaysAgo = 30}),
    };
    const auto categories = rules().categories(files);
    ASSERT_EQ(categories.size(), 3);
    EXPECT_EQ(categories.at(0).kind, CleanupCategory::Kind::installers);
    EXPECT_EQ(categories.at(1).kind, CleanupCategory::Kind::downloads);
    EXPECT_EQ(categories.at(2).kind, CleanupCategory::Kind::apps);
    QStringList order;
    for (const FileRecord &f : categories.at(1).files)
        order.append(f.name);
    EXPECT_EQ(order, (QStringList{"big.pdf", "small.pdf", "same.pdf"}));
    EXPECT_EQ(categories.at(1).bytes(), 50);
}

} // namespace
