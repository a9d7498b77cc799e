// Moving to the Trash, copying, revealing and opening files.
#include "TidyFixtures.h"
#include "store/IndexStore.h"
#include "support/DocumentFixtures.h"
#include "support/LibraryBuilder.h"
#include "support/PrivateBus.h"
#include "support/TestEnvironment.h"
#include "tidy/FileActions.h"

#include <QClipboard>
#include <QDBusConnection>
#include <QDesktopServices>
#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QMimeData>
#include <QStandardPaths>

#include <gtest/gtest.h>

namespace {

class FileActionsTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        store = IndexStore::openInMemory();
        folder = TestEnvironment::makeFolder(QStringLiteral("actions-%1").arg(++serial));
    }

    FileRecord addFile(const QString &relative, qsizetype size)
    {
        const QString path = folder + u'/' + relative;
        TestEnvironment::writeFile(path, QByteArray(size, 'a'));
        return LibraryBuilder::add(*store, {DocumentFixtures::recordOf(path)}, folder).first();
    }

    bool isListed(const FileRecord &record) const { return store->files().record(record.id).has_value(); }

    static inline int serial = 0;
    std::unique_ptr<IndexStore> store;
    int libraryChanges = 0;
    QString folder;
};

TEST_F(FileActionsTest, TrashMovesWhatItCanAndTheLibraryFollows)
{
    const FileRecord a = addFile(QStringLiteral("free/a.txt"), 1500);
    const FileRecord locked = addFile(QStringLiteral("locked/b.txt"), 700);
    const FileRecord c = addFile(QStringLiteral("free/c.txt"), 2500);
    TidyFixtures::MoveLock lock(locked.path);
    ASSERT_TRUE(lock.isLocked()) << "this file system can't keep a file from moving";

    FileActions actions(*store, [this] { ++libraryChanges; });
    const qint64 passages = store->stats().counts().passages;
    const auto outcome = actions.trash({a, locked, c});

    EXPECT_EQ(outcome.moved, 2);
    EXPECT_EQ(outcome.bytes, 4000);
    EXPECT_EQ(outcome.movedPaths, (QStringList{a.path, c.path}));
    EXPECT_EQ(outcome.toast, QStringLiteral("Moved 2 files to the Trash · 4 KB freed"));
    EXPECT_FALSE(QFile::exists(a.path));
    EXPECT_TRUE(QFile::exists(QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation)
                              + QStringLiteral("/Trash/files/a.txt")));
    EXPECT_TRUE(QFile::exists(locked.path));
    // The moved rows and their passages go at once; the locked file stays.
    EXPECT_FALSE(isListed(a));
    EXPECT_FALSE(isListed(c));
    EXPECT_TRUE(isListed(locked));
    EXPECT_LT(store->stats().counts().passages, passages);
    EXPECT_EQ(libraryChanges, 1);

    const FileRecord one = addFile(QStringLiteral("one.txt"), 1);
    EXPECT_EQ(actions.trash({one}).toast, QStringLiteral("Moved 1 file to the Trash · 1 byte freed"));
}

TEST_F(FileActionsTest, TrashMakesTheDataFolderInsteadOfTrashingIntoTheWorkingFolder)
{
    const QByteArray saved = qgetenv("XDG_DATA_HOME");
    const QString fresh = folder + QStringLiteral("/not-yet/data");
    qputenv("XDG_DATA_HOME", QFile::encodeName(fresh));
    const FileRecord file = addFile(QStringLiteral("x.txt"), 5);
    const bool moved = FileActions::moveToTrash(file.path);
    qputenv("XDG_DATA_HOME", saved);
    EXPECT_TRUE(moved);
    EXPECT_TRUE(QFile::exists(fresh + QStringLiteral("/Trash/files/x.txt")));
    EXPECT_FALSE(QFile::exists(QDir::currentPath() + QStringLiteral("/.Trash/files/x.txt")));
}

TEST_F(FileActionsTest, CopyTextFilesAndPaths)
{
    FileActions actions(*store, {});
    const FileRecord long_ = addFile(QStringLiteral("long text.txt"), 10);
    store->passages().setPassages(QStringLiteral("file"), QString::number(long_.id), QStringLiteral("long text.txt"),
                                  {QStringLiteral("first part"), QStringLiteral("second part"), QStringLiteral("third")});
    EXPECT_EQ(actions.copyText(long_), QStringLiteral("Copied text from long text.txt"));
    EXPECT_EQ(QGuiApplication::clipboard()->text(), QStringLiteral("first part\nsecond part\nthird"));

    // Only the title row, whose body is empty: nothing is copied.
    const FileRecord bare = addFile(QStringLiteral("bare.txt"), 10);
    QGuiApplication::clipboard()->setText(QStringLiteral("kept"));
    EXPECT_FALSE(actions.copyText(bare).has_value());
    EXPECT_EQ(QGuiApplication::clipboard()->text(), QStringLiteral("kept"));

    FileActions::copyFiles({long_, bare});
    const QMimeData *data = QGuiApplication::clipboard()->mimeData();
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(data->urls(), (QList<QUrl>{QUrl::fromLocalFile(long_.path), QUrl::fromLocalFile(bare.path)}));
    EXPECT_TRUE(data->hasFormat(QStringLiteral("text/uri-list")));
    FileActions::copyPaths({long_, bare});
    EXPECT_EQ(QGuiApplication::clipboard()->text(), long_.path + u'\n' + bare.path);
}

// Stands in for the desktop's handler of file URLs.
class URLCatcher : public QObject
{
    Q_OBJECT
public:
    QList<QUrl> opened;
public Q_SLOTS:
    void open(const QUrl &url) { opened.append(url); }
};

// A file manager on the session bus that records what it was asked to show.
class FakeFileManager : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.FileManager1")
public:
    QStringList shown;
public Q_SLOTS:
    void ShowItems(const QStringList &uris, const QString &) { shown += uris; }
};

TEST_F(FileActionsTest, RevealAsksTheFileManagerAndOpensTheFolderWithoutOne)
{
    // The whole program talks to a bus of its own, never the real desktop's.
    static PrivateBus bus;
    ASSERT_FALSE(bus.address().isEmpty()) << "dbus-daemon could not start";
    qputenv("DBUS_SESSION_BUS_ADDRESS", bus.address().toUtf8());
    ASSERT_TRUE(QDBusConnection::sessionBus().isConnected());
    URLCatcher catcher;
    QDesktopServices::setUrlHandler(QStringLiteral("file"), &catcher, "open");
    const FileRecord a = addFile(QStringLiteral("shown/a.txt"), 1);
    const FileRecord b = addFile(QStringLiteral("shown/b.txt"), 1);

    // Nobody owns the file manager's name yet: the folder opens instead.
    FileActions::reveal({a, b});
    ASSERT_TRUE(TestEnvironment::waitUntil([&] { return !catcher.opened.isEmpty(); }));
    EXPECT_EQ(catcher.opened, (QList<QUrl>{QUrl::fromLocalFile(folder + QStringLiteral("/shown"))}));

    // A second connection plays the file manager.
    QDBusConnection manager = QDBusConnection::connectToBus(bus.address(), QStringLiteral("file-manager"));
    FakeFileManager fake;
    ASSERT_TRUE(manager.registerObject(QStringLiteral("/org/freedesktop/FileManager1"), &fake,
                                       QDBusConnection::ExportAllSlots));
    ASSERT_TRUE(manager.registerService(QStringLiteral("org.freedesktop.FileManager1")));
    catcher.opened.clear();
    FileActions::reveal({a, b});
    ASSERT_TRUE(TestEnvironment::waitUntil([&] { return !fake.shown.isEmpty(); }));
    EXPECT_EQ(fake.shown, (QStringList{QUrl::fromLocalFile(a.path).toString(), QUrl::fromLocalFile(b.path).toString()}));
    TestEnvironment::waitUntil([] { return false; }, 200);
    EXPECT_TRUE(catcher.opened.isEmpty());

    manager.unregisterService(QStringLiteral("org.freedesktop.FileManager1"));
    QDBusConnection::disconnectFromBus(QStringLiteral("file-manager"));

    FileActions::open({a});
    EXPECT_EQ(catcher.opened, (QList<QUrl>{QUrl::fromLocalFile(a.path)}));
    QDesktopServices::unsetUrlHandler(QStringLiteral("file"));
}

} // namespace

#include "FileActionsTests.moc"
