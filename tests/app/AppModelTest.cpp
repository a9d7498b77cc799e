#include "app/AppModel.h"
#include "core/Defaults.h"
#include "store/IndexStore.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

// An AppModel over its own settings file and launch arguments.
class AppModelTest : public ::testing::Test
{
protected:
    void TearDown() override { qunsetenv("LARDER_TEST_HOST"); }

    std::unique_ptr<AppModel> makeModel(const QStringList &arguments = {})
    {
        m_defaults = std::make_unique<Defaults>(m_dir.path() + QStringLiteral("/settings.json"), arguments);
        m_settings = std::make_unique<AppSettings>(*m_defaults);
        return std::make_unique<AppModel>(*m_settings);
    }

    QString databasePath(const QString &name) const { return m_dir.path() + u'/' + name; }

    QTemporaryDir m_dir;
    std::unique_ptr<Defaults> m_defaults;
    std::unique_ptr<AppSettings> m_settings;
};

} // namespace

TEST_F(AppModelTest, OpensTheLibraryAtTheDefaultLocationAndCreatesItsFolder)
{
    auto model = makeModel();
    const QString expected = TestEnvironment::home() + QStringLiteral("/.local/share/Larder/Library.sqlite");
    EXPECT_EQ(model->databaseURL().toLocalFile(), expected);
    EXPECT_TRUE(QFile::exists(expected));
    EXPECT_FALSE(model->isUsingFallbackLibrary());
    EXPECT_FALSE(model->toast().has_value());
    EXPECT_EQ(model->store().storedSchemaVersion(), 1);
    EXPECT_TRUE(model->showOnboarding());
}

TEST_F(AppModelTest, AnEmptyDatabaseSettingMeansTheDefaultLocation)
{
    auto model = makeModel({QStringLiteral("-LarderDatabase"), QString()});
    EXPECT_EQ(model->databaseURL(), IndexStore::defaultURL());
}

TEST_F(AppModelTest, ADatabasePathInAFolderThatDoesNotExistYetCreatesTheFolder)
{
    const QString path = databasePath(QStringLiteral("new/deeper/Library.sqlite"));
    auto model = makeModel({QStringLiteral("-LarderDatabase"), path});
    EXPECT_FALSE(model->isUsingFallbackLibrary());
    EXPECT_TRUE(QFile::exists(path));
}

TEST_F(AppModelTest, AFileThatIsNotADatabaseFallsBackToMemoryAndIsLeftUntouched)
{
    const QString path = databasePath(QStringLiteral("Library.sqlite"));
    const QByteArray garbage("this is a shopping list, not a library\n");
    TestEnvironment::writeFile(path, garbage);

    auto model = makeModel({QStringLiteral("-LarderDatabase"), path});
    EXPECT_TRUE(model->isUsingFallbackLibrary());
    ASSERT_TRUE(model->toast().has_value());
    EXPECT_TRUE(model->toast()->startsWith(QStringLiteral("Couldn't open the library database: SQLite error 26")))
        << model->toast()->toStdString();
    EXPECT_EQ(model->store().counts().files, 0);
    model.reset();

    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(file.readAll(), garbage);
    EXPECT_FALSE(QFile::exists(path + QStringLiteral("-wal")));
    file.close();

    // The next start tries the file again.
    QFile::remove(path);
    auto next = makeModel({QStringLiteral("-LarderDatabase"), path});
    EXPECT_FALSE(next->isUsingFallbackLibrary());
}

TEST_F(AppModelTest, AFolderThatCannotBeMadeFallsBackToMemoryWithTheReason)
{
    // A file where a folder should be: no permission trick needed, even as root.
    TestEnvironment::writeFile(databasePath(QStringLiteral("blocker")), "x");
    auto model = makeModel({QStringLiteral("-LarderDatabase"), databasePath(QStringLiteral("blocker/sub/Library.sqlite"))});
    EXPECT_TRUE(model->isUsingFallbackLibrary());
    ASSERT_TRUE(model->toast().has_value());
    EXPECT_TRUE(model->toast()->contains(QStringLiteral("Couldn't create the folder"))) << model->toast()->toStdString();
}

TEST_F(AppModelTest, UnderATestHostTheLibraryLivesInMemoryAndNothingIsWritten)
{
    qputenv("LARDER_TEST_HOST", "1");
    auto model = makeModel();
    EXPECT_FALSE(model->showOnboarding());
    EXPECT_FALSE(model->isUsingFallbackLibrary());
    EXPECT_EQ(model->store().db().path(), QStringLiteral(":memory:"));
    EXPECT_FALSE(QFile::exists(IndexStore::defaultURL().toLocalFile()));

    QSignalSpy started(model.get(), &AppModel::indexingStarted);
    model->launch();
    EXPECT_EQ(started.count(), 0);
}

TEST_F(AppModelTest, LaunchStartsIndexingOnlyAfterOnboardingOrWithForcedRoots)
{
    const QString a = TestEnvironment::makeFolder(QStringLiteral("launch-a"));
    {
        auto model = makeModel();
        QSignalSpy started(model.get(), &AppModel::indexingStarted);
        model->launch();
        EXPECT_EQ(started.count(), 0) << "onboarding incomplete and no forced roots: no scan";
    }
    {
        auto model = makeModel({QStringLiteral("-LarderIndexRoots"), QString()});
        QSignalSpy started(model.get(), &AppModel::indexingStarted);
        model->launch();
        EXPECT_EQ(started.count(), 1) << "an empty forced string still counts as present";
    }
    {
        auto model = makeModel({QStringLiteral("-LarderIndexRoots"), a + QStringLiteral("::/does/not/exist")});
        QSignalSpy started(model.get(), &AppModel::indexingStarted);
        model->launch();
        model->launch();
        ASSERT_EQ(started.count(), 1) << "launch work runs once";
        EXPECT_EQ(started.first().first().toStringList(), QStringList{a}) << "missing roots are left out";
    }
}

TEST_F(AppModelTest, ObservableStateNotifiesOnlyOnChange)
{
    auto model = makeModel();
    QSignalSpy toast(model.get(), &AppModel::toastChanged);
    model->setToastText(QStringLiteral("Moved 2 files to the Trash"));
    model->setToastText(QStringLiteral("Moved 2 files to the Trash"));
    EXPECT_EQ(toast.count(), 1);
    model->setToast(std::nullopt);
    EXPECT_EQ(toast.count(), 2);
    EXPECT_EQ(model->toastText(), QString());
}
