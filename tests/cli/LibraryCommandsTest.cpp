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
#include <QUrl>

#include <gtest/gtest.h>

#include <fcntl.h>
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
        folder = TestEnvironment::makeFolder(QStringLiteral("cli-%1").arg(++serial));
        database = folder + "/Library.sqlite";
        root = folder + "/files";
        writeFile(root + "/Documents/notes.txt", "A marmalade recipe with oranges.");
        writeFile(root + "/Archive/backup.zip", QByteArray("PK\x05\x06", 4) + QByteArray(5000, '\0'));
        ASSERT_TRUE(MediaFixtures::writeImage(root + "/Pictures/Screenshot from 2024-05-01.png", 16, 9));
    }

    // The temporary folder's clean-up can't name it through Qt.
    void TearDown() override { ::unlink(badName.constData()); }

    // A file whose name isn't valid UTF-8.
    void addBadName()
    {
        badName = QFile::encodeName(root + "/Documents/") + "caf\xe9.txt";
        const int fd = ::open(badName.constData(), O_CREAT | O_WRONLY, 0644);
        ASSERT_GE(fd, 0);
        ::close(fd);
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

    QStringList listed(const QStringList &options)
    {
        QStringList names;
        for (const QJsonValue &value : json(QStringList{"ls"} + options).toArray())
            names.append(value["name"].toString());
        return names;
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

TEST_F(LibraryCommandsTest, ScanFindsAndARescanRemovesWhatWentAway)
{
    writeFile(root + "/Documents/lease.pdf", QByteArray(2000, 'x'));
    auto result = larder({"scan", root});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    EXPECT_EQ(result.out, QStringLiteral("Scanned %1: 4 files found, 0 removed.\n").arg(root));
    EXPECT_TRUE(result.err.isEmpty()) << "no progress when stderr isn't a terminal";

    QFile::remove(root + "/Documents/notes.txt");
    const QJsonObject summary = json({"scan", root}).toObject();
    EXPECT_EQ(summary, (QJsonObject{{"root", root}, {"found", 3}, {"removed", 1}, {"skippedNames", 0}}));
}

TEST_F(LibraryCommandsTest, ListFiltersSortsAndPrintsRecords)
{
    writeFile(root + "/Documents/lease.pdf", QByteArray(2000, 'x'));
    ASSERT_EQ(larder({"scan", root}).exitCode, 0);
    const QString screenshot = "Screenshot from 2024-05-01.png";
    const struct
    {
        QStringList options;
        QStringList names;
    } cases[] = {
        {{"--sort", "size"}, {"backup.zip", "lease.pdf", screenshot, "notes.txt"}},
        {{"--sort", "name", "--limit", "2"}, {"backup.zip", "lease.pdf"}},
        {{"--kind", "archive", "--ext", "txt", "--sort", "name"}, {"backup.zip", "notes.txt"}},
        {{"--min-size", "1k", "--max-size", "2k", "--sort", "name"}, {"lease.pdf"}},
        {{"--screenshots"}, {screenshot}},
        {{"--folder", root + "/Documents", "--sort", "name"}, {"lease.pdf", "notes.txt"}},
    };
    for (const auto &c : cases)
        EXPECT_EQ(listed(c.options), c.names) << c.options.join(u' ').toStdString();

    const QJsonObject image = json({"ls", "--kind", "image"})[0].toObject();
    EXPECT_EQ(image["path"].toString(), root + "/Pictures/" + screenshot);
    EXPECT_EQ(QJsonArray({image["kind"], image["width"], image["height"], image["isScreenshot"]}),
              QJsonArray({"image", 16, 9, true}));
    EXPECT_TRUE(image["modified"].isDouble());
    EXPECT_FALSE(image.contains("sourceID"));

    const QStringList lines = larder({"ls", "--kind", "document", "--sort", "name"}).out.split('\n', Qt::SkipEmptyParts);
    ASSERT_EQ(lines.size(), 2);
    EXPECT_TRUE(lines.first().startsWith("document")) << lines.first().toStdString();
    EXPECT_TRUE(lines.first().endsWith(root + "/Documents/lease.pdf"));
    EXPECT_TRUE(lines.first().contains("2 KB"));
    EXPECT_EQ(larder({"ls", "--from", "gmail"}).out, "No files found.\n");
}

TEST_F(LibraryCommandsTest, BadInputGetsAUsageErrorOrAFailure)
{
    const struct
    {
        QStringList arguments;
        int exitCode;
        QString message;
    } cases[] = {
        {{"scan"}, 2, "missing FOLDER"},
        {{"scan", "/a", "/b"}, 2, "unexpected argument '/b'"},
        {{"scan", "/no/such/folder"}, 1, "There's no folder at “/no/such/folder”."},
        {{"scan", root + "/Documents/notes.txt"}, 1, "is not a folder"},
        {{"ls", "--kind", "gadget"}, 2, "unknown kind 'gadget'"},
        {{"ls", "--sort", "newest"}, 2, "unknown order 'newest'"},
        {{"ls", "--min-size", "lots"}, 2, "'lots' is not a size"},
        {{"ls", "--limit", "0"}, 2, "'0' is not a positive number"},
        {{"ls", "--colour"}, 2, "Unknown option 'colour'"},
        {{"index", "--roots", folder + "/nowhere"}, 1,
         "Leaving out “" + folder + "/nowhere”: there's no folder there.\n"
                                    "There are no folders to index. Name them with --roots A:B.\n"},
    };
    for (const auto &c : cases) {
        const auto result = larder(c.arguments);
        EXPECT_EQ(result.exitCode, c.exitCode) << c.arguments.join(' ').toStdString();
        EXPECT_TRUE(result.err.contains(c.message)) << result.err.toStdString();
    }
    const QJsonObject empty = json({"status"}).toObject();
    EXPECT_EQ(empty["files"].toInt(-1), 0);
    EXPECT_TRUE(empty["indexedAt"].isNull());
}

TEST_F(LibraryCommandsTest, IndexesTheTreeAndStatusTellsWhatItHolds)
{
    DocumentFixtures::writeTextPdf(root + "/Documents/lease.pdf", {"The quokka tenancy runs for two years."});
    addBadName();
    const auto indexed = larder({"index", "--roots", root});
    ASSERT_EQ(indexed.exitCode, 0) << indexed.err.toStdString();
    EXPECT_TRUE(indexed.out.contains("Indexed 1 folder: 4 files in the library.")) << indexed.out.toStdString();
    EXPECT_TRUE(indexed.out.contains("1 name was left out")) << indexed.out.toStdString();
    EXPECT_TRUE(indexed.err.isEmpty()) << "no progress line without a terminal: " << indexed.err.toStdString();
    EXPECT_EQ(matches("quokka"), 1) << "the PDF's words are searchable";
    EXPECT_EQ(matches("marmalade"), 1);

    const QJsonObject status = json({"status"}).toObject();
    EXPECT_EQ(status["files"].toInt(), 4);
    EXPECT_EQ(status["textQueue"].toInt(), 0);
    EXPECT_TRUE(status["lastError"].isNull());
    EXPECT_EQ(status["skippedNames"].toInt(), 1);
    EXPECT_EQ(status["roots"].toArray(), QJsonArray{root});
    EXPECT_EQ(status["kinds"].toArray().size(), 3) << "archive, document, image";

    const QString text = larder({"status"}).out;
    for (const char *line : {"Files:            4 (", "Waiting for text: 0\n", "Last error:       none\n",
                             "Names left out:   1 (not valid UTF-8)\n"})
        EXPECT_TRUE(text.contains(QString::fromUtf8(line))) << text.toStdString();

    // A second run after a deletion: the library follows.
    QFile::remove(root + "/Documents/notes.txt");
    ASSERT_EQ(larder({"index", "--roots", root}).exitCode, 0);
    EXPECT_EQ(matches("marmalade"), 0);
}

TEST_F(LibraryCommandsTest, WatchFollowsTheDiskAndAStopLosesNothing)
{
    QProcess process;
    process.start(QStringLiteral(LARDER_BINARY), {"index", "--watch", "--roots", root, "--database", database});
    ASSERT_TRUE(process.waitForStarted(10000));
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
    EXPECT_EQ(process.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(process.exitCode(), 0) << process.readAllStandardError().toStdString();

    EXPECT_EQ(json({"status"})["files"].toInt(), 4) << "the late file made it in";
    // Its text is read by the next run.
    ASSERT_EQ(larder({"index", "--roots", root}).exitCode, 0);
    EXPECT_EQ(matches("wombat"), 1);
}
