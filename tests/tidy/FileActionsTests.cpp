// Moving to the Trash, copying, revealing and opening files.
#include "TidyFixtures.h"
#include "store/IndexStore.h"
#include "support/TestEnvironment.h"
#include "tidy/FileActions.h"

#include <QClipboard>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDesktopServices>
#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QMimeData>
#include <QProcess>
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
        FileRecord record = TidyFixtures::recordOf(path, FileKind::document);
        store->upsert({record}, folder, 1);
        return *store->record(store->db().scalar(QStringLiteral("SELECT id FROM files WHERE path = ?"), {path})
                                   .intValue()
                                   .value_or(0));
    }

    bool isListed(const FileRecord &record) const { return store->record(record.id).has_value(); }

    static QString trashedFile(const QString &name)
    {
        return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + QStringLiteral("/Trash/files/")
            + name;
    }

    static inline int serial = 0;
    std::unique_ptr<IndexStore> store;
    int libraryChanges = 0;
    QString folder;
};

TEST_F(FileActionsTest, TrashMovesWhatItCanAndSaysSo)
{
    const FileRecord a = addFile(QStringLiteral("free/a.txt"), 1500);
    const FileRecord locked = addFile(QStringLiteral("locked/b.txt"), 700);
    const FileRecord c = addFile(QStringLiteral("free/c.txt"), 2500);
    TidyFixtures::MoveLock lock(locked.path);
    ASSERT_TRUE(lock.isLocked()) << "this file system can't keep a file from moving";

    FileActions actions(*store, [this] { ++libraryChanges; });
    const auto outcome = actions.trash({a, locked, c});

    EXPECT_EQ(outcome.moved, 2);
    EXPECT_EQ(outcome.bytes, 4000);
    EXPECT_EQ(outcome.movedPaths, (QStringList{a.path, c.path}));
    EXPECT_EQ(outcome.toast, QStringLiteral("Moved 2 files to the Trash · 4 KB freed"));
    EXPECT_FALSE(QFile::exists(a.path));
    EXPECT_TRUE(QFile::exists(trashedFile(QStringLiteral("a.txt"))));
    EXPECT_TRUE(QFile::exists(locked.path));
    // The library follows at once: the moved rows and their passages go, the
    // locked file stays listed.
    EXPECT_FALSE(isListed(a));
    EXPECT_FALSE(isListed(c));
    EXPECT_TRUE(isListed(locked));
    EXPECT_EQ(store->db().scalar(QStringLiteral("SELECT COUNT(*) FROM passages WHERE owner_id = ?"),
                                 {QString::number(a.id)}).intValue(), 0);
    EXPECT_EQ(libraryChanges, 1);
}

TEST_F(FileActionsTest, TrashToastsForOneFileAndForNone)
{
    FileActions actions(*store, {});
    const FileRecord one = addFile(QStringLiteral("one.txt"), 1);
    EXPECT_EQ(actions.trash({one}).toast, QStringLiteral("Moved 1 file to the Trash · 1 byte freed"));

    FileRecord gone = addFile(QStringLiteral("gone.txt"), 10);
    QFile::remove(gone.path);
    const qint64 before = store->counts().files;
    const auto outcome = actions.trash({gone});
    EXPECT_EQ(outcome.moved, 0);
    EXPECT_EQ(outcome.toast, QStringLiteral("Couldn't move those files to the Trash."));
    EXPECT_EQ(store->counts().files, before) << "a file that can't be moved stays listed";

    EXPECT_EQ(FileActions::trashToast(12345, 1234567), QStringLiteral("Moved 12,345 files to the Trash · 1.2 MB freed"));
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

TEST_F(FileActionsTest, CopyTextJoinsEveryPassageAndSkipsFilesWithoutText)
{
    FileActions actions(*store, {});
    const FileRecord long_ = addFile(QStringLiteral("long.txt"), 10);
    store->db().transaction([&] {
        store->setPassages(QStringLiteral("file"), QString::number(long_.id), QStringLiteral("long.txt"),
                           {QStringLiteral("first part"), QStringLiteral("second part"), QStringLiteral("third")});
    });
    QGuiApplication::clipboard()->setText(QStringLiteral("before"));
    EXPECT_EQ(actions.copyText(long_), QStringLiteral("Copied text from long.txt"));
    EXPECT_EQ(QGuiApplication::clipboard()->text(), QStringLiteral("first part\nsecond part\nthird"));

    // Only the title row, whose body is empty: nothing is copied.
    const FileRecord bare = addFile(QStringLiteral("bare.txt"), 10);
    QGuiApplication::clipboard()->setText(QStringLiteral("kept"));
    EXPECT_FALSE(actions.copyText(bare).has_value());
    EXPECT_EQ(QGuiApplication::clipboard()->text(), QStringLiteral("kept"));
}

TEST_F(FileActionsTest, CopyFilesAndPaths)
{
    const FileRecord a = addFile(QStringLiteral("a b.txt"), 1);
    const FileRecord b = addFile(QStringLiteral("c.txt"), 1);
    FileActions::copyFiles({a, b});
    const QMimeData *data = QGuiApplication::clipboard()->mimeData();
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(data->urls(), (QList<QUrl>{QUrl::fromLocalFile(a.path), QUrl::fromLocalFile(b.path)}));
    EXPECT_TRUE(data->hasFormat(QStringLiteral("text/uri-list")));

    FileActions::copyPaths({a, b});
    EXPECT_EQ(QGuiApplication::clipboard()->text(), a.path + u'\n' + b.path);
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

// A private session bus for the whole test program, so that the real
// desktop is never asked to show anything.
class PrivateBus
{
public:
    PrivateBus()
    {
        m_daemon.start(QStringLiteral("dbus-daemon"),
                       {QStringLiteral("--session"), QStringLiteral("--nofork"), QStringLiteral("--print-address=1")});
        if (!m_daemon.waitForStarted(5000) || !m_daemon.waitForReadyRead(5000))
            return;
        address = QString::fromUtf8(m_daemon.readLine()).trimmed();
        qputenv("DBUS_SESSION_BUS_ADDRESS", address.toUtf8());
    }
    ~PrivateBus()
    {
        m_daemon.kill();
        m_daemon.waitForFinished(2000);
    }
    QString address;

private:
    QProcess m_daemon;
};

TEST_F(FileActionsTest, RevealAsksTheFileManagerAndOpensTheFolderWithoutOne)
{
    static PrivateBus bus;
    ASSERT_FALSE(bus.address.isEmpty()) << "dbus-daemon could not start";
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
    QDBusConnection manager = QDBusConnection::connectToBus(bus.address, QStringLiteral("file-manager"));
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
