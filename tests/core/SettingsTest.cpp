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

    void writeJson(const QJsonObject &object) { TestEnvironment::writeFile(path(), QJsonDocument(object).toJson()); }

    QJsonObject readJson() const
    {
        QFile file(path());
        file.open(QIODevice::ReadOnly);
        return QJsonDocument::fromJson(file.readAll()).object();
    }

    QTemporaryDir m_dir;
};

// A stored value of the setting's own type wins, even false, an empty list
// or a one-item list; an absent key or a value of another type gives the
// default. Settings are read by their property names, which are the keys.
TEST_F(SettingsTest, StoredValuesCountOnlyWithTheirOwnType)
{
    const struct
    {
        const char *key;
        QJsonValue stored; // undefined: absent
        QVariant expected;
    } cases[] = {
        {"aiSearchEnabled", QJsonValue::Undefined, true},
        {"aiSearchEnabled", false, false},
        {"aiSearchEnabled", QStringLiteral("no"), true},
        {"thumbnailSize", QJsonValue::Undefined, 128.0},
        {"thumbnailSize", 200, 200.0},
        {"thumbnailSize", QStringLiteral("big"), 128.0},
        {"indexedFolders", QJsonValue::Undefined, Paths::defaultIndexedFolders()},
        {"indexedFolders", QJsonArray(), QStringList()},
        {"indexedFolders", QStringLiteral("/just/one"), Paths::defaultIndexedFolders()},
        {"pinnedFolders", QJsonArray{QStringLiteral("/only")}, QStringList{QStringLiteral("/only")}},
        {"pinnedFolders", QJsonArray{QStringLiteral("/a"), 3}, QStringList()},
        {"fastModel", QJsonValue::Undefined, QStringLiteral("claude-haiku-5-5")},
        {"fastModel", 7, QStringLiteral("claude-haiku-5-5")},
        {"smartModel", QJsonValue::Undefined, QStringLiteral("claude-opus-5")},
        {"viewMode", QJsonValue::Undefined, QStringLiteral("grid")},
        {"onboardingComplete", QJsonValue::Undefined, false},
    };
    for (const auto &c : cases) {
        QFile::remove(path());
        if (!c.stored.isUndefined())
            writeJson({{QString::fromLatin1(c.key), c.stored}});
        Defaults defaults(path());
        AppSettings settings(defaults);
        EXPECT_EQ(settings.property(c.key), c.expected) << c.key << " stored as " << c.stored.type();
    }
    EXPECT_FALSE(QFile::exists(path())) << "reading writes nothing";
}

// Every set writes through with its type, another process's keys survive,
// a file that isn't JSON is replaced, and only a change notifies.
TEST_F(SettingsTest, ChangesWriteThroughWithTheirTypes)
{
    TestEnvironment::writeFile(path(), "{ this is not json");
    {
        Defaults defaults(path());
        AppSettings settings(defaults);
        EXPECT_TRUE(settings.aiRerankEnabled());
        QSignalSpy spy(&settings, &AppSettings::viewModeChanged);
        settings.setViewMode(QStringLiteral("grid"));
        EXPECT_EQ(spy.count(), 0);
        writeJson({{QStringLiteral("fastModel"), QStringLiteral("from-elsewhere")}});
        settings.setViewMode(QStringLiteral("list"));
        EXPECT_EQ(spy.count(), 1);
        settings.setPinnedFolders({QStringLiteral("/p")});
        settings.setAiRerankEnabled(false);
        settings.setThumbnailSize(96.5);
    }
    const QJsonObject stored = readJson();
    EXPECT_EQ(stored.value(QStringLiteral("fastModel")), QStringLiteral("from-elsewhere"));
    EXPECT_EQ(stored.value(QStringLiteral("pinnedFolders")), QJsonArray{QStringLiteral("/p")});
    EXPECT_EQ(stored.value(QStringLiteral("aiRerankEnabled")), QJsonValue(false));
    EXPECT_EQ(stored.value(QStringLiteral("thumbnailSize")), QJsonValue(96.5));

    Defaults defaults(path());
    AppSettings settings(defaults);
    EXPECT_EQ(settings.pinnedFolders(), QStringList{QStringLiteral("/p")});
    EXPECT_FALSE(settings.aiRerankEnabled());
    EXPECT_EQ(settings.thumbnailSize(), 96.5);
    EXPECT_EQ(settings.viewMode(), QStringLiteral("list"));
}

// "-Key value" pairs read before the file as strings, up to a "--": after
// it the words belong to the command.
TEST_F(SettingsTest, LaunchArgumentsReadBeforeTheFileUpToADoubleDash)
{
    writeJson({{QStringLiteral("LarderDatabase"), QStringLiteral("/from/file")}});
    const QStringList arguments{"search", "-LarderDatabase", "/from/args", "--json", "-onboardingComplete", "YES",
                                "-aiSearchEnabled", "NO", "-h", "--", "-draft", "notes", "-viewMode", "list"};
    Defaults defaults(path(), arguments);
    EXPECT_EQ(defaults.string(QStringLiteral("LarderDatabase")), QStringLiteral("/from/args"));
    EXPECT_FALSE(defaults.contains(QStringLiteral("draft")));
    EXPECT_FALSE(defaults.contains(QStringLiteral("viewMode")));
    AppSettings settings(defaults);
    EXPECT_TRUE(settings.onboardingComplete()) << "a boolean read leniently accepts YES";
    EXPECT_TRUE(settings.aiSearchEnabled()) << "a string is not a boolean: the default";

    const Defaults::SplitArguments split = Defaults::splitArguments(arguments);
    EXPECT_EQ(split.launch, (QStringList{"-LarderDatabase", "/from/args", "-onboardingComplete", "YES",
                                         "-aiSearchEnabled", "NO"}));
    EXPECT_EQ(split.rest, (QStringList{"search", "--json", "-h", "--", "-draft", "notes", "-viewMode", "list"}));
}

TEST_F(SettingsTest, IndexRootsComeFromTheForcedListOrTheFolders)
{
    const QStringList folders{QStringLiteral("/f1"), QStringLiteral("/f2")};
    const struct
    {
        const char *forced; // nullptr: absent
        QStringList expected;
    } cases[] = {
        {nullptr, folders},
        {"", folders},
        {"/a::/b", {QStringLiteral("/a"), QStringLiteral("/b")}},
        {":::", {}},
        {"/only", {QStringLiteral("/only")}},
    };
    for (const auto &c : cases) {
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

} // namespace
