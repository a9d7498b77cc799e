// larder duplicates, cleanup and trash, run as a user would on a library file.
#include "TidyFixtures.h"
#include "store/IndexStore.h"
#include "support/DocumentFixtures.h"
#include "support/TestEnvironment.h"

#include <QDateTime>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QUrl>

#include <gtest/gtest.h>

namespace {

class TidyCommandTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        root = TestEnvironment::makeFolder(QStringLiteral("cli-%1").arg(++serial));
        database = root + QStringLiteral("/Library.sqlite");
    }

    std::unique_ptr<IndexStore> library() const { return IndexStore::open(QUrl::fromLocalFile(database)); }

    FileRecord file(const QString &relative, const QByteArray &bytes, FileKind kind = FileKind::document)
    {
        TestEnvironment::writeFile(root + u'/' + relative, bytes);
        return DocumentFixtures::recordOf(root + u'/' + relative, kind);
    }

    TestEnvironment::ProgramResult larder(QStringList arguments) const
    {
        return TestEnvironment::runLarder(arguments << QStringLiteral("--database") << database);
    }

    QJsonObject json(const QStringList &arguments) const
    {
        return QJsonDocument::fromJson(larder(QStringList(arguments) << QStringLiteral("--json")).out.toUtf8()).object();
    }

    static inline int serial = 0;
    QString root;
    QString database;
};

TEST_F(TidyCommandTest, DuplicatesListsGroupsWithTheKeeper)
{
    const QByteArray bytes(6000, 'r');
    library()->files().upsert({file(QStringLiteral("docs/report.pdf"), bytes), file(QStringLiteral("docs/report copy.pdf"), bytes),
                       file(QStringLiteral("other.pdf"), QByteArray(6000, 'o'))},
                      root, 1);

    const auto text = larder({QStringLiteral("duplicates")});
    EXPECT_EQ(text.exitCode, 0) << text.err.toStdString();
    EXPECT_EQ(text.out, QStringLiteral("2 identical copies · 6 KB reclaimable\n"
                                       "  trash  %1/docs/report copy.pdf  6 KB\n"
                                       "  keep   %1/docs/report.pdf  6 KB\n\n"
                                       "1 group · 6 KB in copies\n")
                            .arg(root));
    EXPECT_TRUE(text.err.isEmpty()) << "no progress when stderr isn't a terminal";

    const QJsonObject result = json({QStringLiteral("duplicates")});
    EXPECT_EQ(result.value(QStringLiteral("reclaimableBytes")).toInteger(), 6000);
    const QJsonObject group = result.value(QStringLiteral("groups")).toArray().first().toObject();
    const QJsonArray files = group.value(QStringLiteral("files")).toArray();
    ASSERT_EQ(files.size(), 2);
    EXPECT_EQ(group.value(QStringLiteral("keeper")).toInteger(), files.at(1).toObject().value(QStringLiteral("id")).toInteger());
    EXPECT_EQ(files.at(0).toObject().value(QStringLiteral("sha256")).toString().size(), 64);

    EXPECT_EQ(larder({QStringLiteral("duplicates"), QStringLiteral("--similar")}).out, QStringLiteral("No duplicates found.\n"));
}

TEST_F(TidyCommandTest, CleanupShowsCategoriesWithTheirTexts)
{
    library();
    EXPECT_EQ(larder({QStringLiteral("cleanup")}).out,
              QStringLiteral("No old installers, forgotten downloads or unused apps found.\n"));

    const double now = QDateTime::currentSecsSinceEpoch();
    FileRecord installer = file(QStringLiteral("tool_1.0_amd64.deb"), QByteArray(3000, 'd'));
    installer.added = now - 30 * 86400;
    FileRecord app = file(QStringLiteral("Apps/Old.AppImage"), QByteArray(2000, 'a'), FileKind::app);
    app.opened = now - 400 * 86400;
    FileRecord fresh = file(QStringLiteral("new.deb"), QByteArray(100, 'n'));
    fresh.added = now - 86400;
    library()->files().upsert({installer, app, fresh}, root, 1);

    const auto text = larder({QStringLiteral("cleanup")});
    EXPECT_EQ(text.exitCode, 0) << text.err.toStdString();
    EXPECT_EQ(text.out, QStringLiteral("Old installers · 1 item · 3 KB\n"
                                       "  Disk images and packages you already installed from, older than a week.\n"
                                       "  %1/tool_1.0_amd64.deb  3 KB\n\n"
                                       "Unused apps · 1 item · 2 KB\n"
                                       "  Apps you haven't opened in six months.\n"
                                       "  %1/Apps/Old.AppImage  2 KB\n\n"
                                       "5 KB you could probably free\n")
                            .arg(root));

    const QJsonArray categories = json({QStringLiteral("cleanup")}).value(QStringLiteral("categories")).toArray();
    ASSERT_EQ(categories.size(), 2);
    const QJsonObject first = categories.first().toObject();
    EXPECT_EQ(first.value(QStringLiteral("kind")).toString(), QStringLiteral("installers"));
    EXPECT_EQ(first.value(QStringLiteral("title")).toString(), QStringLiteral("Old installers"));
    EXPECT_EQ(first.value(QStringLiteral("bytes")).toInteger(), 3000);
}

TEST_F(TidyCommandTest, TrashMovesFilesOutOfTheLibraryAndReportsWhatStayed)
{
    const FileRecord a = file(QStringLiteral("free/a.txt"), QByteArray(1200, 'a'));
    const FileRecord b = file(QStringLiteral("free/b.txt"), QByteArray(800, 'b'));
    const FileRecord locked = file(QStringLiteral("locked/c.txt"), QByteArray(100, 'c'));
    library()->files().upsert({a, b, locked}, root, 1);
    TidyFixtures::MoveLock lock(locked.path);
    ASSERT_TRUE(lock.isLocked());

    const auto result = larder({QStringLiteral("trash"), a.path, locked.path, b.path});
    EXPECT_EQ(result.exitCode, 1) << "a file stayed";
    EXPECT_EQ(result.out, QStringLiteral("Moved 2 files to the Trash · 2 KB freed\n"));
    EXPECT_EQ(result.err, QStringLiteral("Couldn't move %1 to the Trash.\n").arg(locked.path));
    EXPECT_FALSE(QFile::exists(a.path));
    EXPECT_TRUE(QFile::exists(locked.path));
    EXPECT_EQ(library()->stats().counts().files, 1) << "the locked file stays listed";

    const auto none = larder({QStringLiteral("trash"), root + QStringLiteral("/missing.txt")});
    EXPECT_EQ(none.exitCode, 1);
    EXPECT_TRUE(none.err.contains(QStringLiteral("Couldn't move those files to the Trash.")));
    EXPECT_EQ(larder({QStringLiteral("trash")}).exitCode, 2);
}

} // namespace
