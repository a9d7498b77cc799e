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
    QString path() const { return m_dir.path() + QStringLiteral("/Larder/settings.json"); }

    void writeJson(const QJsonObject &object)
    {
        TestEnvironment::writeFile(path(), QJsonDocument(object).toJson());
    }

    QJsonObject readJson() const
    {
        QFile file(path());
        file.open(QIODevice::ReadOnly);
        return QJsonDocument::fromJson(file.readAll()).object();
    }

    QTemporaryDir m_dir;
};

} // namespace

TEST_F(SettingsTest, AbsentKeysGiveTheDefaults)
{
    Defaults defaults(path());
    AppSettings settings(defaults);
    EXPECT_EQ(settings.indexedFolders(), Paths::defaultIndexedFolders());
    EXPECT_TRUE(settings.pinnedFolders().isEmpty());
    EXPECT_EQ(settings.fastModel(), QStringLiteral("claude-haiku-5-5"));
    EXPECT_EQ(settings.smartModel(), QStringLiteral("claude-opus-5"));
    EXPECT_TRUE(settings.aiSearchEnabled());
    EXPECT_TRUE(settings.aiRerankEnabled());
    EXPECT_TRUE(settings.liveAnswersEnabled());
    EXPECT_TRUE(settings.autoEnhance());
    EXPECT_FALSE(settings.onboardingComplete());
    EXPECT_EQ(settings.viewMode(), QStringLiteral("grid"));
    EXPECT_EQ(settings.thumbnailSize(), 128.0);
    EXPECT_FALSE(QFile::exists(path())) << "reading writes nothing";
}

TEST_F(SettingsTest, StoredValuesOfTheWrongTypeGiveTheDefault)
{
    writeJson({{QStringLiteral("aiSearchEnabled"), QStringLiteral("no")},
               {QStringLiteral("thumbnailSize"), QStringLiteral("big")},
               {QStringLiteral("indexedFolders"), QStringLiteral("/just/one")},
               {QStringLiteral("pinnedFolders"), QJsonArray{QStringLiteral("/a"), 3}},
               {QStringLiteral("fastModel"), 7}});
    Defaults defaults(path());
    AppSettings settings(defaults);
    EXPECT_TRUE(settings.aiSearchEnabled());
    EXPECT_EQ(settings.thumbnailSize(), 128.0);
    EXPECT_EQ(settings.indexedFolders(), Paths::defaultIndexedFolders());
    EXPECT_TRUE(settings.pinnedFolders().isEmpty());
    EXPECT_EQ(settings.fastModel(), QStringLiteral("claude-haiku-5-5"));
}

TEST_F(SettingsTest, StoredValuesWinOverDefaults)
{
    writeJson({{QStringLiteral("aiSearchEnabled"), false},
               {QStringLiteral("indexedFolders"), QJsonArray()},
               {QStringLiteral("pinnedFolders"), QJsonArray{QStringLiteral("/only")}},
               {QStringLiteral("thumbnailSize"), 200}});
    Defaults defaults(path());
    AppSettings settings(defaults);
    EXPECT_FALSE(settings.aiSearchEnabled()) << "an explicit false stays false";
    EXPECT_TRUE(settings.indexedFolders().isEmpty()) << "an empty list stays empty";
    EXPECT_EQ(settings.pinnedFolders(), QStringList{QStringLiteral("/only")}) << "a one-item list stays a list";
    EXPECT_EQ(settings.thumbnailSize(), 200.0);
}

TEST_F(SettingsTest, ChangesWriteThroughWithTheirTypesAndReadBackInANewObject)
{
    {
        Defaults defaults(path());
        AppSettings settings(defaults);
        settings.setPinnedFolders({QStringLiteral("/p")});
        settings.setAiRerankEnabled(false);
        settings.setThumbnailSize(96.5);
        settings.setViewMode(QStringLiteral("list"));
    }
    const QJsonObject stored = readJson();
    EXPECT_TRUE(stored.value(QStringLiteral("pinnedFolders")).isArray());
    EXPECT_TRUE(stored.value(QStringLiteral("aiRerankEnabled")).isBool());
    EXPECT_TRUE(stored.value(QStringLiteral("thumbnailSize")).isDouble());

    Defaults defaults(path());
    AppSettings settings(defaults);
    EXPECT_EQ(settings.pinnedFolders(), QStringList{QStringLiteral("/p")});
    EXPECT_FALSE(settings.aiRerankEnabled());
    EXPECT_EQ(settings.thumbnailSize(), 96.5);
    EXPECT_EQ(settings.viewMode(), QStringLiteral("list"));
}

TEST_F(SettingsTest, OnlyAChangeNotifiesButEverySetWrites)
{
    Defaults defaults(path());
    AppSettings settings(defaults);
    QSignalSpy spy(&settings, &AppSettings::viewModeChanged);
    settings.setViewMode(QStringLiteral("grid"));
    EXPECT_EQ(spy.count(), 0);
    EXPECT_EQ(readJson().value(QStringLiteral("viewMode")).toString(), QStringLiteral("grid"));
    settings.setViewMode(QStringLiteral("list"));
    EXPECT_EQ(spy.count(), 1);
}

TEST_F(SettingsTest, WritesKeepKeysThatAnotherProcessWrote)
{
    Defaults mine(path());
    AppSettings settings(mine);
    writeJson({{QStringLiteral("fastModel"), QStringLiteral("from-elsewhere")}});
    settings.setViewMode(QStringLiteral("list"));
    const QJsonObject stored = readJson();
    EXPECT_EQ(stored.value(QStringLiteral("fastModel")).toString(), QStringLiteral("from-elsewhere"));
    EXPECT_EQ(stored.value(QStringLiteral("viewMode")).toString(), QStringLiteral("list"));
}

TEST_F(SettingsTest, AFileThatIsNotJsonReadsAsEmptyAndIsReplacedAtTheNextWrite)
{
    TestEnvironment::writeFile(path(), "{ this is not json");
    Defaults defaults(path());
    AppSettings settings(defaults);
    EXPECT_TRUE(settings.aiSearchEnabled());
    settings.setAiSearchEnabled(false);
    EXPECT_FALSE(readJson().value(QStringLiteral("aiSearchEnabled")).toBool(true));
}

TEST_F(SettingsTest, LaunchArgumentsReadBeforeTheFileAsStrings)
{
    writeJson({{QStringLiteral("LarderDatabase"), QStringLiteral("/from/file")}});
    Defaults defaults(path(), {QStringLiteral("larder"), QStringLiteral("-LarderDatabase"), QStringLiteral("/from/args"),
                               QStringLiteral("--json"), QStringLiteral("-onboardingComplete"), QStringLiteral("YES"),
                               QStringLiteral("-aiSearchEnabled"), QStringLiteral("NO")});
    EXPECT_EQ(defaults.string(QStringLiteral("LarderDatabase")), QStringLiteral("/from/args"));
    AppSettings settings(defaults);
    EXPECT_TRUE(settings.onboardingComplete()) << "a boolean read leniently accepts YES";
    EXPECT_TRUE(settings.aiSearchEnabled()) << "a string is not a boolean: the default";
}

TEST_F(SettingsTest, IndexRootsComeFromTheForcedListOrTheFolders)
{
    struct Case
    {
        const char *forced; // nullptr: absent
        QStringList expected;
    };
    const QStringList folders{QStringLiteral("/f1"), QStringLiteral("/f2")};
    const Case cases[] = {
        {nullptr, folders},
        {"", folders},
        {"/a::/b", {QStringLiteral("/a"), QStringLiteral("/b")}},
        {":::", {}},
        {"/only", {QStringLiteral("/only")}},
    };
    for (const Case &c : cases) {
        QStringList arguments;
        if (c.forced)
            arguments << QStringLiteral("-LarderIndexRoots") << QString::fromUtf8(c.forced);
        Defaults defaults(path(), arguments);
        AppSettings settings(defaults);
        settings.setIndexedFolders(folders);
        EXPECT_EQ(settings.indexRoots(), c.expected) << (c.forced ? c.forced : "(absent)");
    }
}

TEST(Paths, AUserFolderSetToTheHomeFolderIsLeftOut)
{
    const QString home = TestEnvironment::home();
    TestEnvironment::writeFile(home + QStringLiteral("/.config/user-dirs.dirs"),
                               "XDG_DOWNLOAD_DIR=\"$HOME/\"\nXDG_DOCUMENTS_DIR=\"$HOME/Papers\"\n");
    const QStringList folders = Paths::defaultIndexedFolders();
    EXPECT_TRUE(Paths::userFolder(Paths::UserFolder::Downloads).isEmpty());
    EXPECT_FALSE(folders.contains(home));
    EXPECT_TRUE(folders.contains(home + QStringLiteral("/Papers")));
    EXPECT_EQ(folders.last(), home + QStringLiteral("/Applications"));
    QFile::remove(home + QStringLiteral("/.config/user-dirs.dirs"));
}
