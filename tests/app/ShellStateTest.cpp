// The state the window shows and the commands it calls: the sidebar's items,
// the selection, the toast's timing, pins, the preview and opening a cited
// file.
#include "app/AppModel.h"
#include "meetings/MeetingModels.h"
#include "core/Defaults.h"
#include "indexing/Indexer.h"
#include "store/IndexStore.h"
#include "support/LibraryBuilder.h"
#include "support/TestEnvironment.h"

#include <QSignalSpy>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

class ShellStateTest : public ::testing::Test
{
protected:
    void SetUp() override { qputenv("LARDER_TEST_HOST", "1"); }
    void TearDown() override { qunsetenv("LARDER_TEST_HOST"); }

    std::unique_ptr<AppModel> makeModel()
    {
        m_defaults = std::make_unique<Defaults>(settingsPath());
        m_settings = std::make_unique<AppSettings>(*m_defaults);
        return std::make_unique<AppModel>(*m_settings);
    }
    QString settingsPath() const { return m_dir.path() + "/settings.json"; }

    // Fires the toast's wait as if its three seconds had passed.
    static void expireToast(AppModel &model)
    {
        auto *timer = model.findChild<QTimer *>(QStringLiteral("toastTimer"));
        ASSERT_NE(timer, nullptr);
        ASSERT_TRUE(timer->isActive());
        EXPECT_EQ(timer->interval(), AppModel::toastMilliseconds);
        timer->stop();
        QMetaObject::invokeMethod(timer, "timeout");
    }

    QTemporaryDir m_dir;
    std::unique_ptr<Defaults> m_defaults;
    std::unique_ptr<AppSettings> m_settings;
};

} // namespace

TEST(SidebarItem, TitlesSymbolsFiltersAndKeys)
{
    const struct
    {
        SidebarItem item;
        QString title, symbol, key;
        bool listing;
    } cases[] = {
        {SidebarItem(SidebarItem::Case::home), "Home", "house.fill", "home", false},
        {SidebarItem(SidebarItem::Case::ask), "Ask Larder", "sparkles", "ask", false},
        {SidebarItem(SidebarItem::Case::recents), "Recents", "clock.fill", "recents", true},
        {SidebarItem(SidebarItem::Case::largeFiles), "Large Files", "externaldrive.fill", "largeFiles", true},
        {SidebarItem(SidebarItem::Case::screenshots), "Screenshots", "camera.viewfinder", "screenshots", true},
        {SidebarItem(SidebarItem::Case::sources), "Downloaded From", "arrow.down.circle.fill", "sources", false},
        {SidebarItem(SidebarItem::Case::cleanup), "Clean Up", "wand.and.sparkles", "cleanup", false},
        {SidebarItem::ofKind(FileKind::audio), "Music", "music.note", "kind:audio", true},
        {SidebarItem::ofKind(FileKind::app), "Apps", "app.badge.fill", "kind:app", true},
        {SidebarItem::ofFolder("/home/ada/Projects/"), "Projects", "folder.fill", "folder:/home/ada/Projects/", true},
        {SidebarItem::ofFolder("/"), "/", "folder.fill", "folder:/", true},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(c.item.title(), c.title);
        EXPECT_EQ(c.item.symbol(), c.symbol);
        EXPECT_EQ(c.item.key(), c.key);
        EXPECT_EQ(c.item.isListing(), c.listing) << c.key.toStdString();
        EXPECT_EQ(SidebarItem::fromKey(c.key), c.item) << c.key.toStdString();
    }
    // Home and search take the accent; every other item has its own colour.
    EXPECT_TRUE(SidebarItem(SidebarItem::Case::search).tint().isEmpty());
    EXPECT_TRUE(SidebarItem::ofKind(FileKind::video).tint().startsWith('#'));
    for (const char *unknown : {"", "kind:", "kind:photos", "folder:", "Home"})
        EXPECT_FALSE(SidebarItem::fromKey(QString::fromUtf8(unknown)).has_value()) << unknown;

    // The filters of the listings.
    EXPECT_EQ(SidebarItem(SidebarItem::Case::largeFiles).filter()->minSize, 100'000'000);
    EXPECT_TRUE(SidebarItem(SidebarItem::Case::screenshots).filter()->screenshotsOnly);
    EXPECT_EQ(SidebarItem::ofFolder("/a/b").filter()->folder, "/a/b");
    const QSet<FileKind> recents = SidebarItem(SidebarItem::Case::recents).filter()->kinds;
    EXPECT_EQ(recents.size(), 6);
    EXPECT_FALSE(recents.contains(FileKind::app));
}

TEST_F(ShellStateTest, SelectionStartsAtHomeAndAnUnknownKeyLeavesIt)
{
    auto model = makeModel();
    EXPECT_EQ(model->selectionKey(), "home");
    QSignalSpy changed(model.get(), &AppModel::selectionChanged);
    model->setSelectionKey("kind:image");
    model->setSelectionKey("kind:image");
    model->setSelectionKey("nonsense");
    EXPECT_EQ(model->selection(), SidebarItem::ofKind(FileKind::image));
    EXPECT_EQ(changed.count(), 1);

    model->setFocusSearchField(false);
    QSignalSpy focus(model.get(), &AppModel::focusSearchFieldChanged);
    model->showSearch();
    EXPECT_EQ(model->selectionKey(), "search");
    EXPECT_TRUE(model->focusSearchField());
    model->showSearch(); // a second request pulses again
    EXPECT_EQ(focus.count(), 3);
}

TEST_F(ShellStateTest, AToastStandsThreeSecondsAndANewerOneStartsTheWaitAgain)
{
    auto model = makeModel();
    model->setToast(QStringLiteral("Copied text from a.pdf"));
    auto *timer = model->findChild<QTimer *>(QStringLiteral("toastTimer"));
    ASSERT_NE(timer, nullptr);
    EXPECT_EQ(timer->remainingTime() > 2000, true);

    // A newer toast replaces the text; the wait restarts for it.
    timer->stop();
    model->setToast(QStringLiteral("Moved 1 file to the Trash"));
    EXPECT_TRUE(timer->isActive());
    EXPECT_EQ(model->toastText(), "Moved 1 file to the Trash");

    QSignalSpy changed(model.get(), &AppModel::toastChanged);
    expireToast(*model);
    EXPECT_FALSE(model->toast().has_value());
    EXPECT_EQ(changed.count(), 1);

    // Clearing by hand stops the wait.
    model->setToast(QStringLiteral("Copied meeting notes"));
    model->setToast(std::nullopt);
    EXPECT_FALSE(timer->isActive());
}

TEST_F(ShellStateTest, PinsArePersistedOnceAndUnpinRemovesEveryOccurrence)
{
    auto model = makeModel();
    model->pin("/home/ada/Projects");
    model->pin("/home/ada/Projects");
    model->pin("/srv/share");
    EXPECT_EQ(m_settings->pinnedFolders(), QStringList({"/home/ada/Projects", "/srv/share"}));

    m_settings->setPinnedFolders({"/x", "/srv/share", "/x"});
    model->setSelection(SidebarItem::ofFolder("/x"));
    model->unpin("/x");
    EXPECT_EQ(m_settings->pinnedFolders(), QStringList({"/srv/share"}));
    EXPECT_EQ(model->selectionKey(), "home") << "the unpinned folder no longer shows";

    // A new settings object over the same file reads the pins back.
    Defaults reread(settingsPath());
    EXPECT_EQ(AppSettings(reread).pinnedFolders(), QStringList({"/srv/share"}));
}

TEST_F(ShellStateTest, CompletingOnboardingIsRememberedAndStartsIndexing)
{
    qunsetenv("LARDER_TEST_HOST");
    m_defaults = std::make_unique<Defaults>(settingsPath(), QStringList{"-LarderDatabase", m_dir.path() + "/Library.sqlite"});
    m_settings = std::make_unique<AppSettings>(*m_defaults);
    m_settings->setIndexedFolders({TestEnvironment::makeFolder("onboarding-docs")});
    AppModel model(*m_settings);
    ASSERT_TRUE(model.showOnboarding());
    QSignalSpy started(&model, &AppModel::indexingStarted);
    model.completeOnboarding();
    EXPECT_FALSE(model.showOnboarding());
    EXPECT_EQ(started.count(), 1);
    Defaults reread(settingsPath());
    EXPECT_TRUE(AppSettings(reread).onboardingComplete());
    model.indexer().stop();
}

TEST_F(ShellStateTest, PreviewStepsThroughItsListOrShowsTheOneFile)
{
    auto model = makeModel();
    FileRecord a, b, c;
    a.path = "/lib/a.png";
    b.path = "/lib/b [1];.pdf";
    c.path = "/lib/c.txt";
    model->preview(b);
    EXPECT_EQ(model->previewURLs(), QList<QUrl>({QUrl::fromLocalFile(b.path)}));
    EXPECT_EQ(model->previewURL(), QUrl::fromLocalFile(b.path));

    model->previewFile(QVariant::fromValue(c), {QVariant::fromValue(a), QVariant::fromValue(c)});
    EXPECT_EQ(model->previewURLs().size(), 2);
    EXPECT_EQ(model->previewURL(), QUrl::fromLocalFile(c.path));
    model->closePreview();
    EXPECT_FALSE(model->previewURL().has_value());
    // Anything but a file record is ignored.
    model->previewFile(QVariant(QStringLiteral("/lib/a.png")));
    EXPECT_FALSE(model->previewURL().has_value());
}

TEST_F(ShellStateTest, OpeningACitedFileInspectsAndPreviewsIt)
{
    auto model = makeModel();
    const QList<qint64> ids = LibraryBuilder::add(model->store(), {LibraryBuilder::File{.path = "/library/lease.pdf", .text = {}}});
    for (const QString &nothing : {QString("abc"), QString(""), QString::number(ids.first() + 100)}) {
        model->open(Citation{.kind = Citation::Kind::file, .ownerID = nothing});
        EXPECT_FALSE(model->inspectedFile().has_value()) << nothing.toStdString();
        EXPECT_FALSE(model->showInspector());
    }
    model->open(Citation{.kind = Citation::Kind::file, .ownerID = QString::number(ids.first())});
    ASSERT_TRUE(model->inspectedFile().has_value());
    EXPECT_EQ(model->inspectedFile()->path, "/library/lease.pdf");
    EXPECT_TRUE(model->showInspector());
    EXPECT_EQ(model->previewURLs(), QList<QUrl>({QUrl::fromLocalFile("/library/lease.pdf")}));
    // A meeting's note or transcript turns to the meetings.
    model->open(Citation{.kind = Citation::Kind::transcript, .ownerID = "m-1"});
    EXPECT_EQ(model->selection(), SidebarItem(SidebarItem::Case::meetings));
}

TEST_F(ShellStateTest, TrashingTheInspectedFileSaysSoAndLetsItGo)
{
    auto model = makeModel();
    const QString path = TestEnvironment::makeFolder("trash-me") + "/old.dmg";
    TestEnvironment::writeFile(path, QByteArray(2048, 'x'));
    const QList<FileRecord> stored = LibraryBuilder::add(model->store(), {[&] {
        FileRecord r;
        r.path = path;
        r.name = "old.dmg";
        r.size = 2048;
        return r;
    }()}, TestEnvironment::home());
    model->inspect(QVariant::fromValue(stored.first()));
    EXPECT_EQ(model->trashFiles({QVariant::fromValue(stored.first())}), 1);
    EXPECT_FALSE(QFile::exists(path));
    EXPECT_TRUE(model->toastText().startsWith("Moved 1 file to the Trash")) << model->toastText().toStdString();
    EXPECT_FALSE(model->inspectedFile().has_value());
    EXPECT_EQ(model->trashFiles({}), 0);
}
