// Showing files in the desktop's file manager, and opening them.
#include "support/PrivateBus.h"
#include "support/TestEnvironment.h"
#include "tidy/FileActions.h"

#include <QDBusConnection>
#include <QDesktopServices>
#include <QUrl>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

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

TEST(FileActionsReveal, AsksTheFileManagerAndOpensTheFolderWithoutOne)
{
    // The whole program talks to a bus of its own, never the real desktop's.
    static PrivateBus bus;
    ASSERT_FALSE(bus.address().isEmpty()) << "dbus-daemon could not start";
    qputenv("DBUS_SESSION_BUS_ADDRESS", bus.address().toUtf8());
    ASSERT_TRUE(QDBusConnection::sessionBus().isConnected());
    URLCatcher catcher;
    QDesktopServices::setUrlHandler(u"file"_s, &catcher, "open");
    const QString folder = TestEnvironment::makeFolder(u"shown"_s);
    FileRecord a, b;
    a.path = folder + u"/a.txt"_s;
    b.path = folder + u"/b.txt"_s;

    // Nobody owns the file manager's name yet: the folder opens instead.
    FileActions::reveal({a, b});
    ASSERT_TRUE(TestEnvironment::waitUntil([&] { return !catcher.opened.isEmpty(); }));
    EXPECT_EQ(catcher.opened, (QList<QUrl>{QUrl::fromLocalFile(folder)}));

    // A second connection plays the file manager.
    QDBusConnection manager = QDBusConnection::connectToBus(bus.address(), u"file-manager"_s);
    FakeFileManager fake;
    ASSERT_TRUE(manager.registerObject(u"/org/freedesktop/FileManager1"_s, &fake, QDBusConnection::ExportAllSlots));
    ASSERT_TRUE(manager.registerService(u"org.freedesktop.FileManager1"_s));
    catcher.opened.clear();
    FileActions::reveal({a, b});
    ASSERT_TRUE(TestEnvironment::waitUntil([&] { return !fake.shown.isEmpty(); }));
    EXPECT_EQ(fake.shown, (QStringList{QUrl::fromLocalFile(a.path).toString(), QUrl::fromLocalFile(b.path).toString()}));
    TestEnvironment::waitUntil([] { return false; }, 200);
    EXPECT_TRUE(catcher.opened.isEmpty());
    manager.unregisterService(u"org.freedesktop.FileManager1"_s);
    QDBusConnection::disconnectFromBus(u"file-manager"_s);

    FileActions::open({a});
    EXPECT_EQ(catcher.opened, (QList<QUrl>{QUrl::fromLocalFile(a.path)}));
    QDesktopServices::unsetUrlHandler(u"file"_s);
}

} // namespace

#include "RevealTests.moc"
