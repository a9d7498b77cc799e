// `larder scan`, `ls`, `index` and `status` end to end, through the built
// program on a real library file and a generated tree.
#include "store/IndexStore.h"
#include "support/DocumentFixtures.h"
#include "support/MediaFixtures.h"
#include "support/TestEnvironment.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QThread>

#include <gtest/gtest.h>

#include <csignal>
#include <fcntl.h>
#include <linux/capability.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace {

using TestEnvironment::writeFile;

// A library file beside a tree of a note, an archive and a screenshot; each
// test adds the document it needs.
class LibraryCommandsTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        static int serial = 0;
        folder = TestEnvironment::makeFolder(QString("cli-%1").arg(++serial));
        database = folder + "/Library.sqlite";
        root = folder + "/files";
        writeFile(root + "/Documents/notes.txt", "A marmalade recipe with oranges.");
        writeFile(root + "/Archive/backup.zip", QByteArray("PK\x05\x06", 4) + QByteArray(5000, '\0'));
        ASSERT_TRUE(MediaFixtures::writeImage(root + "/Pictures/Screenshot from 2024-05-01.png", 16, 9));
    }

    // The temporary folder's clean-up can't name it through Qt.
    void TearDown() override
    {
        ::unlink(badName.constData());
        setWritable(true);
    }

    // Read-only for root too, which file modes don't stop.
    void setWritable(bool writable)
    {
        for (const QString &path : {database, folder}) {
            if (::geteuid() == 0)
                QProcess::execute("chattr", {writable ? "-i" : "+i", path});
            QFile::setPermissions(path, QFileDevice::ReadOwner | QFileDevice::ExeOwner
                                            | (writable ? QFileDevice::WriteOwner : QFileDevice::Permissions()));
        }
    }

    TestEnvironment::ProgramResult larder(QStringList arguments)
    {
        return TestEnvironment::runLarder(arguments << "--database" << database);
    }

    QJsonValue json(const QStringList &arguments)
    {
        const auto result = larder(arguments + QStringList{"--json"});
        EXPECT_EQ(result.exitCode, 0) << result.err.toStdString();
        const QJsonDocument document = QJsonDocument::fromJson(result.out.toUtf8());
        return document.isArray() ? QJsonValue(document.array()) : QJsonValue(document.object());
    }

    qint64 matches(const QString &word)
    {
        SQLiteDatabase library(database);
        return library.scalar("SELECT count(*) FROM passages WHERE passages MATCH ?", {word}).intValue().value_or(-1);
    }

    QString folder;
    QString database;
    QString root;
    QByteArray badName;
};

} // namespace

// A scan finds the files, ls filters, sorts and prints their records, and a
// rescan removes what went away.
TEST_F(LibraryCommandsTest, ScanFindsFilesThatListFiltersAndSorts)
{
    writeFile(root + "/Documents/lease.pdf", QByteArray(2000, 'x'));
    const auto scanned = larder({"scan", root});
    EXPECT_EQ(scanned.out, QString("Scanned %1: 4 files found, 0 removed.\n").arg(root));
    EXPECT_TRUE(scanned.exitCode == 0 && scanned.err.isEmpty()) << "no progress without a terminal";
    EXPECT_EQ(IndexStore(std::make_shared<SQLiteDatabase>(database)).missingFileIndexes(), QStringList())
        << "the first scan built the indexes it went without";
    const QString screenshot = "Screenshot from 2024-05-01.png";
    // The options and the names listed.
    const std::pair<QStringList, QStringList> cases[] = {
        {{"--sort", "size"}, {"backup.zip", "lease.pdf", screenshot, "notes.txt"}},
        {{"--sort", "name", "--limit", "2"}, {"backup.zip", "lease.pdf"}},
        {{"--kind", "archive", "--ext", "txt", "--sort", "name"}, {"backup.zip", "notes.txt"}},
        {{"--min-size", "1k", "--max-size", "2k", "--sort", "name"}, {"lease.pdf"}},
        {{"--screenshots"}, {screenshot}},
        {{"--folder", root + "/Documents", "--sort", "name"}, {"lease.pdf", "notes.txt"}},
    };
    for (const auto &[options, names] : cases) {
        QStringList listed;
        for (const QJsonValue &record : json(QStringList{"ls"} + options).toArray())
            listed.append(record["name"].toString());
        EXPECT_EQ(listed, names) << options.join(u' ').toStdString();
    }

    const QJsonObject image = json({"ls", "--kind", "image"})[0].toObject();
    EXPECT_EQ(QJsonArray({image["path"], image["kind"], image["width"], image["height"], image["isScreenshot"]}),
              QJsonArray({root + "/Pictures/" + screenshot, "image", 16, 9, true}));
    EXPECT_TRUE(image["modified"].isDouble() && !image.contains("sourceID"));

    const auto lines = larder({"ls", "--kind", "document", "--sort", "name"}).out.split('\n', Qt::SkipEmptyParts);
    ASSERT_EQ(lines.size(), 2);
    EXPECT_TRUE(lines.first().startsWith("document") && lines.first().contains("2 KB")
                && lines.first().endsWith(root + "/Documents/lease.pdf")) << lines.first().toStdString();
    EXPECT_EQ(larder({"ls", "--from", "gmail"}).out, "No files found.\n");

    QFile::remove(root + "/Documents/notes.txt");
    EXPECT_EQ(json({"scan", root}), (QJsonObject{{"root", root}, {"found", 3}, {"removed", 1}, {"skippedNames", 0}, {"unreadableFolders", 0}}));
}

TEST_F(LibraryCommandsTest, BadInputGetsAUsageErrorOrAFailure)
{
    // The arguments, the exit status and what the error output holds.
    const std::tuple<QStringList, int, QString> cases[] = {
        {{"scan"}, 2, "missing FOLDER"},
        {{"scan", "/a", "/b"}, 2, "unexpected argument '/b'"},
        {{"scan", "/no/such/folder"}, 1, "There's no folder at “/no/such/folder”."},
        {{"scan", root + "/Documents/notes.txt"}, 1, "is not a folder"},
        {{"ls", "--kind", "gadget"}, 2, "unknown kind 'gadget'"},
        {{"ls", "--sort", "newest"}, 2, "unknown order 'newest'"},
        {{"ls", "--min-size", "lots"}, 2, "'lots' is not a size"},
        {{"ls", "--limit", "0"}, 2, "'0' is not a whole number above 0"},
        {{"search", "x", "--limit", "ten"}, 2, "'ten' is not a whole number above 0"},
        {{"search"}, 2, "missing TEXT"},
        {{"index", "--roots", folder + "/nowhere"}, 1,
         "Leaving out “" + folder + "/nowhere”: there's no folder there.\n"
                                    "There are no folders to index. Name them with --roots FOLDER.\n"},
        {{"index", "--roots", root + "/Documents/notes.txt"}, 1, "Leaving out “" + root + "/Documents/notes.txt”: it is not a folder.\n"},
        {{"index", "--roots", ""}, 2, "--roots needs a folder"},
        {{"index", "--roots", root, "--roots", ":"}, 2, "--roots needs a folder"},
    };
    for (const auto &[arguments, exitCode, message] : cases) {
        const auto result = larder(arguments);
        EXPECT_EQ(result.exitCode, exitCode) << arguments.join(' ').toStdString();
        EXPECT_TRUE(result.err.contains(message)) << result.err.toStdString();
    }
    const QJsonObject empty = json({"status"}).toObject();
    EXPECT_TRUE(empty["files"].toInt(-1) == 0 && empty["indexedAt"].isNull()) << "nothing was indexed or recorded";
}

TEST_F(LibraryCommandsTest, IndexesTheTreeAndStatusTellsWhatItHolds)
{
    DocumentFixtures::writeTextPdf(root + "/Documents/lease.pdf", {"The quokka tenancy runs for two years."});
    badName = QFile::encodeName(root + "/Documents/") + "caf\xe9.txt"; // not valid UTF-8
    const int fd = ::open(badName.constData(), O_CREAT | O_WRONLY, 0644);
    ASSERT_GE(fd, 0);
    ::close(fd);
    // --roots repeats, one folder each, so a name may hold a colon.
    const QString colon = folder + "/odd:name";
    writeFile(colon + "/extra.txt", "x");
    const auto indexed = larder({"index", "--roots", root, "--roots", colon});
    ASSERT_EQ(indexed.exitCode, 0) << indexed.err.toStdString();
    EXPECT_TRUE(indexed.out.contains("Indexed 2 folders: 5 files in the library.")
                && indexed.out.contains("1 name was left out")) << indexed.out.toStdString();
    EXPECT_TRUE(indexed.err.isEmpty()) << "no progress line without a terminal: " << indexed.err.toStdString();
    EXPECT_TRUE(matches("quokka") == 1 && matches("marmalade") == 1) << "the PDF's and the note's words are searchable";

    const QJsonObject status = json({"status"}).toObject();
    EXPECT_EQ(QJsonArray({status["files"], status["textQueue"], status["lastError"], status["skippedNames"],
                          status["roots"], status["kinds"].toArray().size()}),
              QJsonArray({5, 0, QJsonValue::Null, 1, QJsonArray({root, colon}), 3})) << "archive, document, image";

    const QString text = larder({"status"}).out;
    for (const char *line : {"Files:            5 (", "Waiting for text: 0\n", "Last error:       none\n",
                             "Names left out:   1 (not valid UTF-8)\n"})
        EXPECT_TRUE(text.contains(QString::fromUtf8(line))) << text.toStdString();
}

// Root reads any folder; without its right to override file modes it is
// refused like anybody else.
TEST_F(LibraryCommandsTest, AnUnreadableFolderIsReportedAndCounted)
{
    const QString locked = root + "/Locked";
    writeFile(locked + "/secret.txt", "x");
    ASSERT_TRUE(QFile::setPermissions(locked, {}));
    const auto withoutOverride = [&](const QStringList &arguments) {
        QProcess process;
        process.setChildProcessModifier([] {
            ::prctl(PR_CAPBSET_DROP, CAP_DAC_OVERRIDE, 0, 0, 0);
            ::prctl(PR_CAPBSET_DROP, CAP_DAC_READ_SEARCH, 0, 0, 0);
        });
        process.start(LARDER_BINARY, arguments + QStringList{"--database", database});
        EXPECT_TRUE(process.waitForFinished(60000));
        return std::pair(process.exitCode(), QString::fromUtf8(process.readAllStandardError()));
    };
    const auto [scanStatus, scanErr] = withoutOverride({"scan", root});
    const auto [indexStatus, indexErr] = withoutOverride({"index", "--roots", root});
    QFile::setPermissions(locked, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    if (json({"ls", "--folder", locked}).toArray().size() == 1)
        GTEST_SKIP() << "this process can read a folder of mode 000";

    for (const auto &[status, err] : {std::pair(scanStatus, scanErr), std::pair(indexStatus, indexErr)}) {
        EXPECT_EQ(status, 1);
        EXPECT_TRUE(err.contains("Couldn't read the folder “" + locked + "”")) << err.toStdString();
    }
    const QJsonObject status = json({"status"}).toObject();
    EXPECT_EQ(status["unreadableFolders"].toInt(), 1);
    EXPECT_TRUE(status["lastError"].toString().contains(locked)) << status["lastError"].toString().toStdString();
    EXPECT_TRUE(larder({"status"}).out.contains("Folders left out: 1 (can't be read)\n"));
}

// Control characters in a name are shown escaped, so a name can neither
// colour the terminal nor break a line; JSON keeps the name as it is.
TEST_F(LibraryCommandsTest, NamesCannotControlTheTerminal)
{
    const QString name = "ctrl\x01\x1b[31mred\nline.txt";
    writeFile(root + "/Documents/" + name, "A marmalade recipe with oranges.");
    ASSERT_EQ(larder({"index", "--roots", root}).exitCode, 0);
    for (const QStringList &arguments : {QStringList{"ls", "--ext", "txt"}, {"search", "marmalade"}}) {
        const QString out = larder(arguments).out;
        EXPECT_TRUE(out.contains("ctrl\\x01\\x1b[31mred\\nline.txt")) << out.toStdString();
        EXPECT_FALSE(out.contains(u'\x1b') || out.contains(u'\x01')) << arguments.first().toStdString();
    }
    EXPECT_EQ(json({"ls", "--ext", "txt", "--sort", "name"})[0]["name"], name);
}

// A picture that makes the image decoder complain (an ancillary chunk with a
// wrong checksum) leaves the terminal to Larder's own lines; the complaint
// goes to the message log.
TEST_F(LibraryCommandsTest, LibraryWarningsStayOffTheTerminal)
{
    QFile png(root + "/Pictures/Screenshot from 2024-05-01.png");
    ASSERT_TRUE(png.open(QIODevice::ReadWrite));
    QByteArray bytes = png.readAll();
    const QByteArray text = QByteArray("\0\0\0\x0dtEXtComment\0hello\x12\x34\x56\x78", 25);
    bytes.insert(33, text); // after the signature and the header chunk
    png.seek(0);
    png.write(bytes);
    png.close();
    ASSERT_EQ(larder({"index", "--roots", root}).exitCode, 0);
    const auto similar = larder({"duplicates", "--similar"});
    EXPECT_EQ(similar.exitCode, 0);
    EXPECT_FALSE(similar.err.contains("libpng")) << similar.err.toStdString();
    QFile log(qEnvironmentVariable("XDG_STATE_HOME") + "/Larder/messages.log");
    ASSERT_TRUE(log.open(QIODevice::ReadOnly));
    EXPECT_TRUE(log.readAll().contains("libpng warning: tEXt: CRC error"));
}

// A library that can't be written, like one on a read-only mount, can still
// be searched.
TEST_F(LibraryCommandsTest, AReadOnlyLibraryCanBeSearched)
{
    ASSERT_EQ(larder({"index", "--roots", root}).exitCode, 0);
    setWritable(false);
    const auto found = larder({"search", "marmalade"});
    EXPECT_TRUE(found.exitCode == 0 && found.out.startsWith("notes.txt\n")) << found.err.toStdString();
    EXPECT_EQ(json({"status"})["files"].toInt(), 3);
}

TEST_F(LibraryCommandsTest, WatchFollowsTheDiskAndAStopLosesNothing)
{
    QProcess process;
    process.start(LARDER_BINARY, {"index", "--watch", "--roots", root, "--database", database});
    QString out;
    ASSERT_TRUE(TestEnvironment::waitUntil([&] {
        out += QString::fromUtf8(process.readAllStandardOutput());
        return out.contains("Up to date. Following changes");
    }, 30000)) << out.toStdString() << process.readAllStandardError().toStdString();

    // Written just before the stop, long before a flush would come due.
    writeFile(root + "/Documents/late.txt", "A wombat arrived late.");
    QThread::msleep(100);
    process.terminate();
    ASSERT_TRUE(process.waitForFinished(30000));
    EXPECT_TRUE(process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0)
        << process.readAllStandardError().toStdString();

    EXPECT_EQ(json({"status"})["files"].toInt(), 4) << "the late file made it in";
    ASSERT_EQ(larder({"index", "--roots", root}).exitCode, 0);
    EXPECT_EQ(matches("wombat"), 1) << "the next run reads its text";
}

// One process at a time indexes a library: a second is turned away with the
// first one's pid while readers go on, one run with --wait indexes after it,
// and the interrupted first one says so instead of reporting a count.
TEST_F(LibraryCommandsTest, OneIndexerAtATimeAndAnInterruptedOneSaysSo)
{
    const auto start = [&](QProcess &process, const QStringList &options) {
        process.start(LARDER_BINARY, QStringList{"index", "--roots", root, "--database", database} + options);
    };
    // Reading the note's text hangs, so the first run is still busy when
    // the others come.
    QProcess first;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("LARDER_EXTRACT_FAULT", "hang:notes.txt");
    first.setProcessEnvironment(environment);
    start(first, {});
    ASSERT_TRUE(TestEnvironment::waitUntil([&] {
        QFile lock(database + ".lock");
        return lock.open(QIODevice::ReadOnly) && lock.readAll().trimmed().toLongLong() == first.processId();
    }, 10000));
    const QString holder = QString("by another process (pid %1)").arg(first.processId());
    const auto second = larder({"index", "--roots", root});
    EXPECT_TRUE(second.exitCode == 1 && second.err.contains(holder)) << second.err.toStdString();
    EXPECT_EQ(larder({"scan", root}).exitCode, 1);
    EXPECT_EQ(larder({"status"}).exitCode, 0) << "readers go on";

    QProcess waiting;
    start(waiting, {"--wait"});
    QString waited;
    ASSERT_TRUE(TestEnvironment::waitUntil([&] { return (waited += waiting.readAllStandardError()).contains(holder); },
                                           10000));
    ::kill(first.processId(), SIGINT);
    ASSERT_TRUE(first.waitForFinished(30000));
    EXPECT_EQ(first.exitCode(), 130);
    EXPECT_TRUE(first.readAllStandardOutput().isEmpty()) << "no count of a finished run";
    EXPECT_TRUE(first.readAllStandardError().contains("Indexing was interrupted: 3 files in the library so far"));

    ASSERT_TRUE(waiting.waitForFinished(30000));
    EXPECT_EQ(waiting.exitCode(), 0) << waiting.readAllStandardError().toStdString();
    EXPECT_EQ(waiting.readAllStandardOutput(), "Indexed 1 folder: 3 files in the library.\n");
    EXPECT_EQ(matches("marmalade"), 1);
}
