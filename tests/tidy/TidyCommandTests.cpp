// larder duplicates, cleanup and trash, run as a user would on a library file.
#include "TidyFixtures.h"
#include "core/Paths.h"
#include "store/IndexStore.h"
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

    void fill(const QList<FileRecord> &records)
    {
        auto store = IndexStore::open(QUrl::fromLocalFile(database));
        store->upsert(records, root, 1);
    }

    FileRecord file(const QString &relative, const QByteArray &bytes, FileKind kind = FileKind::document)
    {
        const QString path = root + u'/' + relative;
        TestEnvironment::writeFile(path, bytes);
        return TidyFixtures::recordOf(path, kind);
    }

    TestEnvironment::ProgramResult larder(QStringList arguments)
    {
        arguments << QStringLiteral("--database") << database;
        return TestEnvironment::runLarder(arguments);
    }

    static QJsonObject json(const TestEnvironment::ProgramResult &result)
    {
        return QJsonDocument::fromJson(result.out.toUtf8()).object();
    }

    static inline int serial = 0;
    QString root;
    QString database;
};

TEST_F(TidyCommandTest, DuplicatesListsGroupsWithTheKeeper)
{
    const QByteArray bytes(6000, 'r');
    fill({file(QStringLiteral("docs/report.pdf"), bytes), file(QStringLiteral("docs/report copy.pdf"), bytes),
          file(QStringLiteral("other.pdf"), QByteArray(6000, 'o'))});

    const auto text = larder({QStringLiteral("duplicates")});
    EXPECT_EQ(text.exitCode, 0) << text.err.toStdString();
    EXPECT_EQ(text.out, QStringLiteral("2 identical copies · 6 KB reclaimable\n"
                                       "  trash  %1/docs/report copy.pdf  6 KB\n"
                                       "  keep   %1/docs/report.pdf  6 KB\n\n"
                                       "1 group · 6 KB in copies\n")
                            .arg(root));
    EXPECT_TRUE(text.err.isEmpty()) << "no progress when stderr isn't a terminal";

    const QJsonObject result = json(larder({QStringLiteral("duplicates"), QStringLiteral("--json")}));
    EXPECT_EQ(result.value(QStringLiteral("mode")).toString(), QStringLiteral("identical"));
    EXPECT_EQ(result.value(QStringLiteral("reclaimableBytes")).toInteger(), 6000);
    const QJsonArray groups = result.value(QStringLiteral("groups")).toArray();
    ASSERT_EQ(groups.size(), 1);
    const QJsonObject group = groups.first().toObject();
    const QJsonArray files = group.value(QStringLiteral("files")).toArray();
    ASSERT_EQ(files.size(), 2);
    EXPECT_EQ(group.value(QStringLiteral("keeper")).toInteger(),
              files.at(1).toObject().value(QStringLiteral("id")).toInteger());
    EXPECT_EQ(files.at(0).toObject().value(QStringLiteral("sha256")).toString().size(), 64)
        << "the digest was stored by the scan";

    const auto similar = larder({QStringLiteral("duplicates"), QStringLiteral("--similar")});
    EXPECT_EQ(similar.exitCode, 0);
    EXPECT_EQ(similar.out, QStringLiteral("No duplicates found.\n"));
}

TEST_F(TidyCommandTest, CleanupShowsCategoriesWithTheirTexts)
{
    const double now = QDateTime::currentSecsSinceEpoch();
    FileRecord installer = file(QStringLiteral("tool_1.0_amd64.deb"), QByteArray(3000, 'd'));
    installer.added = now - 30 * 86400;
    FileRecord app = file(QStringLiteral("Apps/Old.AppImage"), QByteArray(2000, 'a'), FileKind::app);
    app.opened = now - 400 * 86400;
    FileRecord fresh = file(QStringLiteral("new.deb"), QByteArray(100, 'n'));
    fresh.added = now - 86400;
    fill({installer, app, fresh});

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

    const QJsonArray categories = json(larder({QStringLiteral("cleanup"), QStringLiteral("--json")}))
                                      .value(QStringLiteral("categories"))
                                      .toArray();
    ASSERT_EQ(categories.size(), 2);
    const QJsonObject first = categories.first().toObject();
    EXPECT_EQ(first.value(QStringLiteral("kind")).toString(), QStringLiteral("installers"));
    EXPECT_EQ(first.value(QStringLiteral("title")).toString(), QStringLiteral("Old installers"));
    EXPECT_EQ(first.value(QStringLiteral("bytes")).toInteger(), 3000);
    EXPECT_EQ(first.value(QStringLiteral("files")).toArray().size(), 1);

    TestEnvironment::ProgramResult empty;
    {
        const QString other = root + QStringLiteral("/empty.sqlite");
        IndexStore::open(QUrl::fromLocalFile(other));
        empty = TestEnvironment::runLarder({QStringLiteral("cleanup"), QStringLiteral("--database"), other});
    }
    EXPECT_EQ(empty.out, QStringLiteral("No old installers, forgotten downloads or unused apps found.\n"));
}

TEST_F(TidyCommandTest, TrashMovesFilesOutOfTheLibraryAndReportsWhatStayed)
{
    const FileRecord a = file(QStringLiteral("free/a.txt"), QByteArray(1200, 'a'));
    const FileRecord b = file(QStringLiteral("free/b.txt"), QByteArray(800, 'b'));
    const FileRecord locked = file(QStringLiteral("locked/c.txt"), QByteArray(100, 'c'));
    fill({a, b, locked});
    TidyFixtures::MoveLock lock(locked.path);
    ASSERT_TRUE(lock.isLocked());

    const auto result = larder({QStringLiteral("trash"), a.path, locked.path, b.path});
    EXPECT_EQ(result.exitCode, 1) << "a file stayed";
    EXPECT_EQ(result.out, QStringLiteral("Moved 2 files to the Trash · 2 KB freed\n"));
    EXPECT_EQ(result.err, QStringLiteral("Couldn't move %1 to the Trash.\n").arg(locked.path));
    EXPECT_FALSE(QFile::exists(a.path));
    EXPECT_TRUE(QFile::exists(locked.path));

    auto store = IndexStore::open(QUrl::fromLocalFile(database));
    const auto listed = store->db().query(QStringLiteral("SELECT path FROM files"));
    ASSERT_EQ(listed.size(), 1);
    EXPECT_EQ(listed.first().string(QStringLiteral("path")), locked.path);

    const auto none = larder({QStringLiteral("trash"), root + QStringLiteral("/missing.txt")});
    EXPECT_EQ(none.exitCode, 1);
    EXPECT_TRUE(none.err.contains(QStringLiteral("Couldn't move those files to the Trash.")));
    EXPECT_EQ(larder({QStringLiteral("trash")}).exitCode, 2);
}

} // namespace
