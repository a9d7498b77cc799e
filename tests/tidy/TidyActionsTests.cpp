// What the user does with files: larder duplicates, cleanup and trash run as
// a user would on a library file, and copying text, files and paths.
#include "TidyFixtures.h"
#include "store/IndexStore.h"
#include "support/DocumentFixtures.h"
#include "support/LibraryBuilder.h"
#include "support/TestEnvironment.h"
#include "tidy/FileActions.h"

#include <QClipboard>
#include <QDateTime>
#include <QFile>
#include <QGuiApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMimeData>
#include <QUrl>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

class TidyActionsTest : public ::testing::Test
{
protected:
    // Lists the files in the library file the commands run on.
    void add(const QList<FileRecord> &records) const
    {
        IndexStore::open(QUrl::fromLocalFile(database))->files().upsert(records, root, 1);
    }

    // A file of ten bytes listed in the in-memory library.
    FileRecord listed(const QString &relative)
    {
        return LibraryBuilder::add(*store, {file(relative, "0123456789")}, root).first();
    }

    FileRecord file(const QString &relative, const QByteArray &bytes, FileKind kind = FileKind::document) const
    {
        TestEnvironment::writeFile(root + u'/' + relative, bytes);
        return DocumentFixtures::recordOf(root + u'/' + relative, kind);
    }

    TestEnvironment::ProgramResult larder(QStringList arguments, const QProcessEnvironment &extra = {}) const
    {
        return TestEnvironment::runLarder(arguments << u"--database"_s << database, extra);
    }

    static inline int serial = 0;
    QString root = TestEnvironment::makeFolder(u"cli-%1"_s.arg(++serial));
    QString database = root + u"/Library.sqlite"_s;
    std::unique_ptr<IndexStore> store = IndexStore::openInMemory();
};

TEST_F(TidyActionsTest, DuplicatesListsGroupsWithTheKeeper)
{
    const QByteArray bytes(6000, 'r');
    add({file(u"docs/report.pdf"_s, bytes), file(u"docs/report copy.pdf"_s, bytes), file(u"other.pdf"_s, QByteArray(6000, 'o'))});

    const auto text = larder({u"duplicates"_s});
    EXPECT_EQ(text.exitCode, 0) << text.err.toStdString();
    EXPECT_EQ(text.out, u"2 identical copies · 6 KB reclaimable\n  trash  %1/docs/report copy.pdf  6 KB\n"
                        u"  keep   %1/docs/report.pdf  6 KB\n\n1 group · 6 KB in copies\n"_s.arg(root));
    EXPECT_TRUE(text.err.isEmpty()) << "no progress when stderr isn't a terminal";

    const QJsonObject result = QJsonDocument::fromJson(larder({u"duplicates"_s, u"--json"_s}).out.toUtf8()).object();
    EXPECT_EQ(result[u"reclaimableBytes"_s].toInteger(), 6000);
    const QJsonObject group = result[u"groups"_s].toArray().first().toObject();
    const QJsonArray files = group[u"files"_s].toArray();
    EXPECT_EQ(group[u"keeper"_s].toInteger(), files.at(1)[u"id"_s].toInteger());
    EXPECT_EQ(files.at(0)[u"sha256"_s].toString().size(), 64);
    EXPECT_EQ(larder({u"duplicates"_s, u"--similar"_s}).out, u"No duplicates found.\n"_s);
}

TEST_F(TidyActionsTest, CleanupShowsCategoriesWithTheirTexts)
{
    add({});
    EXPECT_EQ(larder({u"cleanup"_s}).out, u"No old installers, forgotten downloads or unused apps found.\n"_s);

    const double now = QDateTime::currentSecsSinceEpoch();
    FileRecord installer = file(u"tool_1.0_amd64.deb"_s, QByteArray(3000, 'd')), fresh = file(u"new.deb"_s, "n");
    FileRecord app = file(u"Apps/Old.AppImage"_s, QByteArray(2000, 'a'), FileKind::app);
    installer.added = now - 30 * 86400;
    fresh.added = now - 86400;
    app.opened = now - 400 * 86400;
    add({installer, app, fresh});

    const auto text = larder({u"cleanup"_s});
    EXPECT_EQ(text.exitCode, 0) << text.err.toStdString();
    EXPECT_EQ(text.out, u"Old installers · 1 item · 3 KB\n"
                        u"  Disk images and packages you already installed from, older than a week.\n"
                        u"  %1/tool_1.0_amd64.deb  3 KB\n\n"
                        u"Unused apps · 1 item · 2 KB\n  Apps you haven't opened in six months.\n"
                        u"  %1/Apps/Old.AppImage  2 KB\n\n5 KB you could probably free\n"_s.arg(root));
    const QJsonObject json = QJsonDocument::fromJson(larder({u"cleanup"_s, u"--json"_s}).out.toUtf8()).object();
    const QJsonValue first = json[u"categories"_s].toArray().first();
    EXPECT_EQ(first[u"kind"_s].toString(), u"installers"_s);
    EXPECT_EQ(first[u"bytes"_s].toInteger(), 3000);
}

TEST_F(TidyActionsTest, TrashMovesFilesIntoAFreshDataFolderAndOutOfTheLibraryAndReportsWhatStayed)
{
    const FileRecord a = file(u"a.txt"_s, QByteArray(1200, 'a')), b = file(u"b.txt"_s, QByteArray(800, 'b'));
    const FileRecord gone = file(u"gone.txt"_s, "c"), one = file(u"one.txt"_s, "1");
    add({a, b, gone, one, file(u"dir/x.txt"_s, QByteArray(300, 'x')), file(u"dir/sub/y.txt"_s, QByteArray(200, 'y'))});
    QFile::remove(gone.path);
    // A data folder that doesn't exist yet is made for the Trash.
    QProcessEnvironment environment;
    environment.insert(u"XDG_DATA_HOME"_s, root + u"/not-yet/data"_s);

    const auto result = larder({u"trash"_s, a.path, gone.path, b.path}, environment);
    EXPECT_EQ(result.exitCode, 1) << "a file stayed";
    EXPECT_EQ(result.out, u"Moved 2 files to the Trash · 2 KB freed\n"_s);
    EXPECT_EQ(result.err, u"Couldn't move %1 to the Trash.\n"_s.arg(gone.path));
    EXPECT_FALSE(QFile::exists(a.path));
    EXPECT_TRUE(QFile::exists(root + u"/not-yet/data/Trash/files/a.txt"_s));
    EXPECT_EQ(larder({u"trash"_s, one.path}).out, u"Moved 1 file to the Trash · 1 byte freed\n"_s);
    EXPECT_EQ(larder({u"trash"_s, root + u"/dir"_s}).out, u"Moved 2 files to the Trash · 500 bytes freed\n"_s)
        << "a folder counts the files inside it";
    EXPECT_EQ(IndexStore::open(QUrl::fromLocalFile(database))->stats().counts().files, 1) << "what stayed stays listed";

    const auto none = larder({u"trash"_s, root + u"/missing.txt"_s});
    EXPECT_EQ(none.exitCode, 1);
    EXPECT_TRUE(none.err.contains(u"Couldn't move those files to the Trash."_s));
    EXPECT_EQ(larder({u"trash"_s}).exitCode, 2);
}

TEST_F(TidyActionsTest, CopyTextFilesAndPaths)
{
    FileActions actions(*store, {});
    QClipboard *clipboard = QGuiApplication::clipboard();
    const FileRecord text = listed(u"long text.txt"_s), bare = listed(u"bare.txt"_s);
    store->passages().setPassages(u"file"_s, QString::number(text.id), u"long text.txt"_s,
                                  {u"first part"_s, u"second part"_s, u"third"_s});
    EXPECT_EQ(actions.copyText(text), u"Copied text from long text.txt"_s);
    EXPECT_EQ(clipboard->text(), u"first part\nsecond part\nthird"_s);
    // Only the title row, whose body is empty: nothing is copied.
    clipboard->setText(u"kept"_s);
    EXPECT_FALSE(actions.copyText(bare).has_value());
    EXPECT_EQ(clipboard->text(), u"kept"_s);

    FileActions::copyFiles({text, bare});
    ASSERT_NE(clipboard->mimeData(), nullptr);
    EXPECT_EQ(clipboard->mimeData()->urls(), (QList<QUrl>{QUrl::fromLocalFile(text.path), QUrl::fromLocalFile(bare.path)}));
    FileActions::copyPaths({text, bare});
    EXPECT_EQ(clipboard->text(), text.path + u'\n' + bare.path);
}

} // namespace
