// Settings, the onboarding and About on the real window: the first run from
// a fresh settings file to an indexed library, the Claude key checked against
// the fake Messages API (and kept in a private keyring), settings changed on
// screen and found again in settings.json, and a folder taken out of the
// library. A picture of every tab and state is saved for review.
#include "WindowFixture.h"

#include "claude/APIKeyStore.h"
#include "indexing/Indexer.h"
#include "screens/ClaudeSettings.h"
#include "screens/FolderList.h"
#include "screens/LibraryModel.h"
#include "support/FakeClaudeServer.h"
#include "support/PrivateKeyring.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QFile>
#include <QSignalSpy>

using TestEnvironment::waitUntil;

namespace {

const FakeReply modelsOK = FakeReply::json(200, R"({"data":[{"id":"claude-haiku-5-5"}],"has_more":true})");
const QString rejected = QStringLiteral("Claude rejected the API key. Check it in Settings.");

// A folder of the given number of small text files under the test's home.
QString folderOfFiles(const QString &name, int files)
{
    const QString folder = TestEnvironment::makeFolder(name);
    for (int i = 0; i < files; ++i)
        TestEnvironment::writeFile(folder + QStringLiteral("/note %1.txt").arg(i + 1), "pantry notes\n");
    return folder;
}

} // namespace

class SettingsScreenTest : public WindowFixture
{
protected:
    // One private keyring for the whole suite, in place before anything in
    // the process reaches for the session bus.
    static void SetUpTestSuite()
    {
        WindowFixture::SetUpTestSuite();
        s_keyring = new PrivateKeyring;
        const QProcessEnvironment environment = s_keyring->environment();
        for (const QString &name : environment.keys())
            qputenv(name.toUtf8().constData(), environment.value(name).toUtf8());
    }
    static void TearDownTestSuite()
    {
        delete s_keyring;
        s_keyring = nullptr;
    }

    void SetUp() override
    {
        WindowFixture::SetUp();
        QFile::remove(settingsFile());
    }
    void TearDown() override
    {
        WindowFixture::TearDown();
        qunsetenv("LARDER_ANTHROPIC_BASE_URL");
    }

    static QString settingsFile() { return TestEnvironment::home() + "/settings.json"; }
    // What a later start of the program reads from the settings file.
    static QJsonValue stored(const QString &key) { return Defaults(settingsFile()).value(key); }

    ClaudeSettings *claudeOf(const QString &holder) const
    {
        QQuickItem *item = this->item(holder);
        return item ? qvariant_cast<ClaudeSettings *>(item->property("claude")) : nullptr;
    }
    QString textOf(const QString &name) const { return item(name)->property("text").toString(); }
    void openSettings(const QString &tab)
    {
        press(Qt::Key_Comma);
        ASSERT_TRUE(waitUntil([&] { return item("settings") && item("settings")->isVisible(); }));
        click("settingsTab:" + tab);
    }
    void replaceText(const QString &field, const QString &text)
    {
        click(field);
        QTest::keyClick(window(), Qt::Key_A, Qt::ControlModifier);
        QTest::keyClick(window(), Qt::Key_Backspace);
        typeKeys(text);
    }

    static PrivateKeyring *s_keyring;
};

PrivateKeyring *SettingsScreenTest::s_keyring = nullptr;

TEST_F(SettingsScreenTest, OnboardingFromAFreshSettingsFileToAnIndexedLibrary)
{
    // A first run: a real library file in the home, the welcome over the window.
    qunsetenv("LARDER_TEST_HOST");
    FakeClaudeServer server;
    server.enqueue(FakeReply::error(401, "authentication_error", "invalid x-api-key"));
    qputenv("LARDER_ANTHROPIC_BASE_URL", server.baseURL().toUtf8());
    const QString pantry = folderOfFiles("Pantry", 3);
    open();
    QSignalSpy started(m_model.get(), &AppModel::indexingStarted);
    ASSERT_TRUE(m_model->showOnboarding());
    ASSERT_TRUE(waitUntil([&] { return item("onboarding")->isVisible(); }));
    EXPECT_EQ(textOf("onboardingForward"), "Continue");
    EXPECT_FALSE(item("onboardingBack")->isVisible());
    capture("70-onboarding-welcome");

    // The folders: one default folder dropped by hand, the rest through the
    // model the folder dialog feeds, and a folder of our own added.
    click("onboardingForward");
    const QStringList defaults = m_settings->indexedFolders();
    ASSERT_FALSE(defaults.isEmpty());
    click("folder:" + defaults.first());
    click("removeFolder");
    EXPECT_FALSE(m_settings->indexedFolders().contains(defaults.first()));
    for (const QString &folder : m_settings->indexedFolders())
        m_shell->folders()->remove(folder);
    m_shell->folders()->add(QUrl::fromLocalFile(pantry));
    m_shell->folders()->add(QUrl::fromLocalFile(pantry));
    EXPECT_EQ(m_settings->indexedFolders(), QStringList{pantry});
    ASSERT_TRUE(waitUntil([&] { return item("folderCount") && textOf("folderCount") == "3 files"; }));
    EXPECT_EQ(started.count(), 0) << "nothing is indexed before the onboarding ends";
    capture("71-onboarding-folders");
    // At the window's smallest the step still fits.
    window()->resize(window()->minimumSize());
    capture("71-onboarding-folders-smallest");
    window()->resize(1240, 800);

    // Claude: a rejected key keeps the user on the step with Claude's word.
    click("onboardingForward");
    EXPECT_EQ(textOf("onboardingForward"), "Skip for Now");
    click("onboardingKeyField");
    typeKeys("sk-wrong");
    EXPECT_EQ(textOf("onboardingForward"), "Finish");
    click("onboardingForward");
    ASSERT_TRUE(waitUntil([&] { return item("onboardingKeyError")->isVisible(); }));
    EXPECT_EQ(textOf("onboardingKeyError"), rejected);
    EXPECT_TRUE(m_model->showOnboarding());
    EXPECT_FALSE(m_model->hasAPIKey());
    capture("72-onboarding-key-rejected");

    // Skipped: onboarding is done for good and the chosen folder is indexed.
    replaceText("onboardingKeyField", "");
    EXPECT_EQ(textOf("onboardingForward"), "Skip for Now");
    click("onboardingForward");
    EXPECT_FALSE(m_model->showOnboarding());
    EXPECT_EQ(item("onboarding"), nullptr);
    EXPECT_FALSE(m_model->hasAPIKey());
    ASSERT_EQ(started.count(), 1);
    EXPECT_EQ(started.first().first().toStringList(), QStringList{pantry});
    EXPECT_TRUE(waitUntil([&] { return m_shell->library()->totalCount() == 3; }, 15000))
        << m_shell->library()->totalCount();
    EXPECT_EQ(stored("onboardingComplete"), QJsonValue(true));
    EXPECT_EQ(stored("indexedFolders"), QJsonValue(QJsonArray{pantry}));
}

TEST_F(SettingsScreenTest, KeyIsCheckedWithClaudeAndKeptInTheKeyring)
{
    // The client takes the server's address when the model is made; once
    // the server has gone, the same address is a closed port.
    auto server = std::make_unique<FakeClaudeServer>();
    qputenv("LARDER_ANTHROPIC_BASE_URL", server->baseURL().toUtf8());
    open();
    m_model->setAPIKey(std::nullopt);
    openSettings("claude");
    ClaudeSettings *claude = claudeOf("claudeTab");
    ASSERT_NE(claude, nullptr);
    EXPECT_FALSE(item("removeKey")->isVisible());
    EXPECT_FALSE(item("keyStatus")->isVisible());

    FakeReply slowOK = modelsOK;
    slowOK.delayBeforeMs = 1200;
    const struct
    {
        const char *picture;
        QString typed;
        std::optional<FakeReply> reply; // none: the server is gone
        QString status;
        QString says;
        QString inForce; // the key the program uses afterwards
    } checks[] = {
        // Pasted with a line break, saved trimmed.
        {"75-settings-claude-connected", "sk-ant-good\n", slowOK, "valid", "Connected", "sk-ant-good"},
        // A refused key leaves the previous one in force.
        {"76-settings-claude-invalid", "sk-ant-wrong",
         FakeReply::error(401, "authentication_error", "invalid x-api-key"), "invalid", rejected, "sk-ant-good"},
        {"76-settings-claude-unreachable", "sk-ant-other", std::nullopt, "invalid", "Couldn't reach Claude: ",
         "sk-ant-good"},
    };
    for (const auto &check : checks) {
        SCOPED_TRACE(check.picture);
        if (check.reply)
            server->enqueue(*check.reply);
        else
            server.reset();
        claude->setKey(check.typed);
        click("saveKey");
        if (check.reply && check.reply->delayBeforeMs > 0) {
            EXPECT_EQ(claude->statusName(), "checking");
            EXPECT_EQ(textOf("keyStatusText"), "Checking the key…");
            capture("74-settings-claude-checking");
        }
        ASSERT_TRUE(waitUntil([&] { return claude->status() != ClaudeSettings::Status::checking; }));
        if (server) {
            const RecordedRequest request = server->requests().last();
            EXPECT_EQ(request.path, "/v1/models?limit=1");
            EXPECT_EQ(request.headers.value("x-api-key"), check.typed.trimmed().toUtf8());
        }
        EXPECT_EQ(claude->statusName(), check.status);
        EXPECT_TRUE(textOf("keyStatusText").startsWith(check.says)) << textOf("keyStatusText").toStdString();
        EXPECT_EQ(APIKeyStore::shared().key().value_or(QString()), check.inForce);
        EXPECT_TRUE(m_model->hasAPIKey());
        EXPECT_TRUE(item("removeKey")->isVisible());
        EXPECT_EQ(claude->key().isEmpty(), check.status == "valid") << "the field empties once the key is kept";
        capture(check.picture);
    }

    // Kept in the desktop's keyring, where a later start finds it.
    const bool keyring = s_keyring->failure().isEmpty();
    const SecretStore::Lookup kept = KeyringSecretStore(APIKeyStore::serviceName(), APIKeyStore::account).read();
    if (keyring) {
        EXPECT_EQ(kept.secret.value_or(QString()), "sk-ant-good");
    }

    // Removed: no key, and the keyring forgets it too.
    click("removeKey");
    EXPECT_EQ(claude->statusName(), "idle");
    EXPECT_FALSE(m_model->hasAPIKey());
    EXPECT_FALSE(item("keyStatus")->isVisible());
    if (keyring) {
        EXPECT_EQ(KeyringSecretStore(APIKeyStore::serviceName(), APIKeyStore::account).read().secret, std::nullopt);
    }
}

TEST_F(SettingsScreenTest, SettingsChangedOnScreenAreKeptInTheSettingsFile)
{
    open();
    openSettings("general");
    capture("73-settings-general");

    // Each switch, flipped on screen, is what the next start reads.
    const struct
    {
        QString tab;
        QString toggle;
        QString key;
        bool (AppSettings::*value)() const;
    } toggles[] = {
        {"claude", "aiSearchToggle", "aiSearchEnabled", &AppSettings::aiSearchEnabled},
        {"claude", "aiRerankToggle", "aiRerankEnabled", &AppSettings::aiRerankEnabled},
        {"meetings", "liveAnswersToggle", "liveAnswersEnabled", &AppSettings::liveAnswersEnabled},
        {"meetings", "autoEnhanceToggle", "autoEnhance", &AppSettings::autoEnhance},
    };
    for (const auto &toggle : toggles) {
        SCOPED_TRACE(toggle.toggle.toStdString());
        click("settingsTab:" + toggle.tab);
        ASSERT_TRUE((m_settings.get()->*toggle.value)());
        // Pressed again should the tab still be laying out under the press.
        EXPECT_TRUE(waitUntil([&] {
            if ((m_settings.get()->*toggle.value)())
                click(toggle.toggle);
            return !(m_settings.get()->*toggle.value)();
        }));
        EXPECT_FALSE(item(toggle.toggle)->property("checked").toBool());
        EXPECT_EQ(stored(toggle.key), QJsonValue(false));
    }
    capture("77-settings-meetings");

    // A model's name is written when the field is left; an emptied field
    // keeps the model it had.
    click("settingsTab:claude");
    replaceText("fastModelFieldInput", "claude-test-fast");
    press(Qt::Key_Return, Qt::NoModifier);
    EXPECT_EQ(m_settings->fastModel(), "claude-test-fast");
    EXPECT_EQ(stored("fastModel"), QJsonValue("claude-test-fast"));
    replaceText("smartModelFieldInput", "  ");
    press(Qt::Key_Return, Qt::NoModifier);
    EXPECT_EQ(m_settings->smartModel(), AppSettings::defaultSmartModel);
    EXPECT_EQ(textOf("smartModelFieldInput"), AppSettings::defaultSmartModel);

    // Escape closes the sheet; About shows the build's version.
    press(Qt::Key_Escape, Qt::NoModifier);
    ASSERT_TRUE(waitUntil([&] { return !item("settings") || !item("settings")->isVisible(); }));
    m_shell->showAbout();
    ASSERT_TRUE(waitUntil([&] { return item("about") && item("about")->isVisible(); }));
    EXPECT_EQ(textOf("aboutVersion"), "Version " LARDER_VERSION);
    capture("78-about");
}

TEST_F(SettingsScreenTest, RemovingAFolderTakesItsFilesOutOfTheLibrary)
{
    const QString kept = folderOfFiles("Kept", 2);
    const QString dropped = folderOfFiles("Dropped", 3);
    qputenv("LARDER_COLOR_SCHEME", "dark");
    open();
    m_settings->setOnboardingComplete(true);
    m_settings->setIndexedFolders({kept, dropped});
    m_model->startIndexing();
    ASSERT_TRUE(waitUntil([&] { return m_shell->library()->totalCount() == 5; }, 15000));

    openSettings("general");
    ASSERT_TRUE(waitUntil([&] { return textOf("libraryStatusValue") == "5 files"; }));
    click("folder:" + dropped);
    click("removeFolder");
    EXPECT_EQ(m_settings->indexedFolders(), QStringList{kept});
    EXPECT_EQ(stored("indexedFolders"), QJsonValue(QJsonArray{kept}));
    EXPECT_EQ(m_model->indexer().roots(), QStringList{kept});
    ASSERT_TRUE(waitUntil([&] { return m_shell->library()->totalCount() == 2; }, 15000))
        << m_shell->library()->totalCount();
    ASSERT_TRUE(waitUntil([&] { return textOf("libraryStatusValue") == "2 files"; }));
    // The folder is still there on disk; only the library forgot it.
    EXPECT_TRUE(QDir(dropped).exists());
    EXPECT_FALSE(item("removeFolder")->isEnabled()) << "nothing is selected any more";
    capture("79-settings-general-dark");
    click("settingsTab:claude");
    capture("79-settings-claude-dark");
}
