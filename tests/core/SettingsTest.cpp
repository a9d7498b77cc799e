#include "core/AppSettings.h"
#include "core/Defaults.h"
#include "core/Paths.h"
#include "support/TestEnvironment.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSignalSpy>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

class SettingsTest : public ::testing::Test
{
protected:
    void writeJson(const QJsonObject &object) { TestEnvironment::writeFile(m_path, QJsonDocument(object).toJson()); }

    QTemporaryDir m_dir;
    const QString m_path = m_dir.path() + "/Larder/settings.json";
};

// A stored value of the setting's own type wins, even false, an empty list
// or a one-item list; an absent key or a value of another type gives the
// default. Settings are read by their property names, which are the keys.
TEST_F(SettingsTest, StoredValuesCountOnlyWithTheirOwnType)
{
    // The key, its stored value (undefined: absent) and the setting read.
    const std::tuple<const char *, QJsonValue, QVariant> cases[] = {
        {"aiSearchEnabled", false, false}, {"aiSearchEnabled", "no", true},
        {"thumbnailSize", QJsonValue::Undefined, 128.0}, {"thumbnailSize", 200, 200.0}, {"thumbnailSize", "big", 128.0},
        {"indexedFolders", QJsonArray(), QStringList()}, {"pinnedFolders", QJsonArray{"/a", 3}, QStringList()},
        {"indexedFolders", "/just/one", Paths::defaultIndexedFolders()}, {"fastModel", 7, "claude-haiku-5-5"},
        {"pinnedFolders", QJsonArray{"/only"}, QStringList{"/only"}}, {"aiSearchEnabled", QJsonValue::Undefined, true},
        {"indexedFolders", QJsonValue::Undefined, Paths::defaultIndexedFolders()},
    };
    for (const auto &[key, stored, expected] : cases) {
        QFile::remove(m_path);
        if (!stored.isUndefined())
            writeJson({{key, stored}});
        Defaults defaults(m_path);
        EXPECT_EQ(AppSettings(defaults).property(key), expected) << key << " stored as " << stored.type();
    }
    EXPECT_FALSE(QFile::exists(m_path)) << "reading writes nothing, and the last key was absent";
}

// Every set writes through with its type, another process's keys survive,
// a file that isn't JSON is replaced, and only a change notifies.
TEST_F(SettingsTest, ChangesWriteThroughWithTheirTypes)
{
    TestEnvironment::writeFile(m_path, "{ this is not json");
    {
        Defaults defaults(m_path);
        AppSettings settings(defaults);
        QSignalSpy spy(&settings, &AppSettings::viewModeChanged);
        settings.setViewMode("grid");
        writeJson({{"fastModel", "from-elsewhere"}});
        settings.setViewMode("list");
        EXPECT_EQ(spy.count(), 1) << "setting the value it holds notifies nothing";
        settings.setPinnedFolders({"/p"});
        settings.setAiRerankEnabled(false);
        settings.setThumbnailSize(96.5);
    }
    QFile file(m_path);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QJsonObject json = QJsonDocument::fromJson(file.readAll()).object();
    EXPECT_EQ(QJsonArray({json["fastModel"], json["pinnedFolders"], json["aiRerankEnabled"], json["thumbnailSize"],
                          json["viewMode"]}),
              QJsonArray({"from-elsewhere", QJsonArray{"/p"}, false, 96.5, "list"}));
}

// "-Key value" pairs read before the file as strings, up to a "--": after
// it the words belong to the command.
TEST_F(SettingsTest, LaunchArgumentsAndForcedRootsReadBeforeTheFile)
{
    writeJson({{"LarderDatabase", "/from/file"}});
    const QStringList arguments{"search", "-LarderDatabase", "/from/args", "--json", "-onboardingComplete", "YES",
                                "-aiSearchEnabled", "NO", "-h", "--", "-draft", "notes", "-viewMode", "list"};
    Defaults defaults(m_path, arguments);
    EXPECT_EQ(defaults.string("LarderDatabase"), "/from/args");
    EXPECT_FALSE(defaults.contains("draft") || defaults.contains("viewMode"));
    AppSettings settings(defaults);
    EXPECT_TRUE(settings.onboardingComplete() && settings.aiSearchEnabled())
        << "a boolean read leniently accepts YES, but a string is not a boolean";
    EXPECT_EQ(Defaults::splitArguments(arguments).rest,
              (QStringList{"search", "--json", "-h", "--", "-draft", "notes", "-viewMode", "list"}));

    // A forced list of index roots (nullptr: absent) wins over the folders.
    const QStringList folders{"/f1", "/f2"};
    const std::pair<const char *, QStringList> cases[] = {
        {nullptr, folders}, {"", folders}, {"/a::/b", {"/a", "/b"}}, {":::", {}}, {"/only", {"/only"}},
    };
    for (const auto &[forced, roots] : cases) {
        Defaults forcing(m_path, forced ? QStringList{"-LarderIndexRoots", forced} : QStringList());
        AppSettings withRoots(forcing);
        withRoots.setIndexedFolders(folders);
        EXPECT_EQ(withRoots.indexRoots(), roots) << (forced ? forced : "(absent)");
    }
}

TEST(Paths, AUserFolderSetToTheHomeFolderIsLeftOut)
{
    const QString home = TestEnvironment::home();
    TestEnvironment::writeFile(home + "/.config/user-dirs.dirs",
                               "XDG_DOWNLOAD_DIR=\"$HOME/\"\nXDG_DOCUMENTS_DIR=\"$HOME/Papers\"\n");
    const QStringList folders = Paths::defaultIndexedFolders();
    EXPECT_TRUE(Paths::userFolder(Paths::UserFolder::Downloads).isEmpty() && !folders.contains(home));
    EXPECT_TRUE(folders.contains(home + "/Papers") && folders.last() == home + "/Applications");
    QFile::remove(home + "/.config/user-dirs.dirs");
}

} // namespace
