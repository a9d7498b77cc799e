#include "app/AppModel.h"
#include "core/Defaults.h"
#include "store/IndexStore.h"
#include "support/TestEnvironment.h"
#include "tidy/FileActions.h"

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
        m_defaults = std::make_unique<Defaults>(m_dir.path() + "/settings.json", arguments);
        m_settings = std::make_unique<AppSettings>(*m_defaults);
        return std::make_unique<AppModel>(*m_settings);
    }

    QTemporaryDir m_dir;
    std::unique_ptr<Defaults> m_defaults;
    std::unique_ptr<AppSettings> m_settings;
};

} // namespace

TEST_F(AppModelTest, OpensTheLibraryWhereTheSettingsSayAndMakesItsFolder)
{
    const QString standard = TestEnvironment::home() + "/.local/share/Larder/Library.sqlite";
    const QString deeper = m_dir.path() + "/new/deeper/Library.sqlite";
    const struct
    {
        QStringList arguments;
        QString expected;
    } cases[] = {{{}, standard}, {{"-LarderDatabase", ""}, standard}, {{"-LarderDatabase", deeper}, deeper}};
    for (const auto &c : cases) {
        auto model = makeModel(c.arguments);
        EXPECT_EQ(model->databaseURL().toLocalFile(), c.expected);
        EXPECT_TRUE(QFile::exists(c.expected)) << c.expected.toStdString();
        EXPECT_FALSE(model->libraryFailure().has_value());
        EXPECT_FALSE(model->toast().has_value());
        EXPECT_EQ(model->store().storedSchemaVersion(), 1);
        EXPECT_TRUE(model->showOnboarding());
    }
}

// What the user reads, and that the file is left alone, go through `larder`
// in the command line's tests.
TEST_F(AppModelTest, ALibraryThatCannotBeOpenedGivesWayToAnEmptyOneUntilTheNextStart)
{
    const QString path = m_dir.path() + "/Library.sqlite";
    TestEnvironment::writeFile(path, "this is a shopping list, not a library\n");
    auto model = makeModel({"-LarderDatabase", path});
    ASSERT_TRUE(model->libraryFailure().has_value());
    EXPECT_EQ(model->toast(), model->libraryFailure()) << "the window says why";
    EXPECT_EQ(model->store().stats().counts().files, 0);
    model.reset();
    EXPECT_FALSE(QFile::exists(path + "-wal"));

    QFile::remove(path);
    EXPECT_FALSE(makeModel({"-LarderDatabase", path})->libraryFailure().has_value());
}

TEST_F(AppModelTest, UnderATestHostTheLibraryLivesInMemoryAndNothingIsWritten)
{
    const QString standard = IndexStore::defaultURL().toLocalFile();
    QFile::remove(standard); // left by the other tests of this process
    qputenv("LARDER_TEST_HOST", "1");
    auto model = makeModel();
    EXPECT_FALSE(model->showOnboarding());
    EXPECT_EQ(model->store().path(), ":memory:");
    EXPECT_FALSE(QFile::exists(standard));

    QSignalSpy started(model.get(), &AppModel::indexingStarted);
    model->launch();
    EXPECT_EQ(started.count(), 0);
}

TEST_F(AppModelTest, LaunchStartsIndexingOnceAfterOnboardingOrWithForcedRoots)
{
    const QString a = TestEnvironment::makeFolder("launch-a");
    const struct
    {
        QStringList arguments;
        QList<QStringList> started;
    } cases[] = {
        {{}, {}}, // onboarding incomplete and no forced roots
        {{"-LarderIndexRoots", ""}, {QStringList()}}, // an empty forced string still counts
        {{"-LarderIndexRoots", a + "::/does/not/exist"}, {QStringList{a}}}, // missing roots left out
    };
    for (const auto &c : cases) {
        auto model = makeModel(c.arguments);
        QSignalSpy spy(model.get(), &AppModel::indexingStarted);
        model->launch();
        model->launch();
        QList<QStringList> started;
        for (const QList<QVariant> &signal : spy)
            started.append(signal.first().toStringList());
        EXPECT_EQ(started, c.started) << c.arguments.join(u' ').toStdString();
    }
}

TEST_F(AppModelTest, TrashingThroughTheModelMakesEveryScreenReload)
{
    auto model = makeModel();
    const qint64 revision = model->indexing()->revision();
    model->fileActions().trash({});
    EXPECT_EQ(model->indexing()->revision(), revision + 1);
}
