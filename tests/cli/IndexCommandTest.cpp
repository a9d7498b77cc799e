// `larder index` and `larder status` end to end, through the built program
// on a real library file and a generated tree.
#include "store/IndexStore.h"
#include "support/DocumentFixtures.h"
#include "support/MediaFixtures.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QThread>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

namespace {

using TestEnvironment::runLarder;
using TestEnvironment::writeFile;

class IndexCommandTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        static int serial = 0;
        folder = TestEnvironment::makeFolder(QStringLiteral("index-cli-%1").arg(++serial));
        database = folder + "/Library.sqlite";
        root = folder + "/files";
        DocumentFixtures::writeTextPdf(root + "/Documents/lease.pdf",
                                       {QStringLiteral("The quokka tenancy runs for two years.")});
        writeFile(root + "/Documents/notes.txt", "A marmalade recipe with oranges.");
        writeFile(root + "/Archive/backup.zip", QByteArray("PK\x05\x06", 4) + QByteArray(5000, '\0'));
        ASSERT_TRUE(MediaFixtures::writeImage(root + "/Pictures/tiny.png", 16, 9));
        // A name that isn't valid UTF-8.
        badName = QFile::encodeName(root + "/Documents/") + "caf\xe9.txt";
        const int fd = ::open(badName.constData(), O_CREAT | O_WRONLY, 0644);
        ASSERT_GE(fd, 0);
        ::close(fd);
    }

    // The temporary folder's clean-up can't name it through Qt.
    void TearDown() override { ::unlink(badName.constData()); }

    TestEnvironment::ProgramResult larder(QStringList arguments)
    {
        arguments << "--database" << database;
        return runLarder(arguments);
    }

    qint64 matches(const QString &word)
    {
        auto store = IndexStore::open(QUrl::fromLocalFile(database));
        return store->db()
            .scalar(QStringLiteral("SELECT count(*) FROM passages WHERE passages MATCH ?"), {word})
            .intValue()
            .value_or(-1);
    }

    QString folder;
    QString database;
    QString root;
    QByteArray badName;
};

} // namespace

TEST_F(IndexCommandTest, IndexesTheTreeAndStatusTellsWhatItHolds)
{
    const auto indexed = larder({"index", "--roots", root});
    ASSERT_EQ(indexed.exitCode, 0) << indexed.err.toStdString();
    EXPECT_TRUE(indexed.out.contains("Indexed 1 folder: 4 files in the library.")) << indexed.out.toStdString();
    EXPECT_TRUE(indexed.out.contains("1 name was left out")) << indexed.out.toStdString();
    EXPECT_TRUE(indexed.err.isEmpty()) << "no progress line without a terminal: " << indexed.err.toStdString();
    EXPECT_EQ(matches("quokka"), 1) << "the PDF's words are searchable";
    EXPECT_EQ(matches("marmalade"), 1);

    const auto status = larder({"status", "--json"});
    ASSERT_EQ(status.exitCode, 0) << status.err.toStdString();
    const QJsonObject json = QJsonDocument::fromJson(status.out.toUtf8()).object();
    EXPECT_EQ(json["files"].toInt(), 4);
    EXPECT_EQ(json["textQueue"].toInt(), 0);
    EXPECT_TRUE(json["lastError"].isNull());
    EXPECT_EQ(json["skippedNames"].toInt(), 1);
    EXPECT_EQ(json["roots"].toArray().first().toString(), root);
    qint64 bytes = 0;
    QStringList kinds;
    for (const QJsonValue &kind : json["kinds"].toArray()) {
        kinds << kind["kind"].toString();
        bytes += kind["bytes"].toInteger();
    }
    kinds.sort();
    EXPECT_EQ(kinds, (QStringList{"archive", "document", "image"}));
    EXPECT_EQ(bytes, json["bytes"].toInteger());

    const auto text = larder({"status"});
    ASSERT_EQ(text.exitCode, 0);
    EXPECT_TRUE(text.out.contains("Files:            4 (")) << text.out.toStdString();
    EXPECT_TRUE(text.out.contains("Waiting for text: 0\n"));
    EXPECT_TRUE(text.out.contains("Last error:       none\n"));
    EXPECT_TRUE(text.out.contains("Names left out:   1 (not valid UTF-8)\n"));

    // A second run after a deletion: the library follows.
    QFile::remove(root + "/Documents/notes.txt");
    ASSERT_EQ(larder({"index", "--roots", root}).exitCode, 0);
    EXPECT_EQ(matches("marmalade"), 0);
}

TEST_F(IndexCommandTest, WatchFollowsTheDiskAndAStopLosesNothing)
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

    const auto status = larder({"status", "--json"});
    const QJsonObject json = QJsonDocument::fromJson(status.out.toUtf8()).object();
    EXPECT_EQ(json["files"].toInt(), 5) << "the late file made it in";
    // Its text is read by the next run.
    ASSERT_EQ(larder({"index", "--roots", root}).exitCode, 0);
    EXPECT_EQ(matches("wombat"), 1);
}

TEST_F(IndexCommandTest, MissingFoldersAndStrayArguments)
{
    const auto none = larder({"index", "--roots", folder + "/nowhere"});
    EXPECT_EQ(none.exitCode, 1);
    EXPECT_TRUE(none.err.contains("there's no folder there")) << none.err.toStdString();
    EXPECT_TRUE(none.err.contains("There are no folders to index.")) << none.err.toStdString();

    EXPECT_EQ(larder({"index", "extra"}).exitCode, 2);
    EXPECT_EQ(larder({"status", "extra"}).exitCode, 2);

    const auto empty = larder({"status", "--json"});
    ASSERT_EQ(empty.exitCode, 0);
    const QJsonObject json = QJsonDocument::fromJson(empty.out.toUtf8()).object();
    EXPECT_EQ(json["files"].toInt(), 0);
    EXPECT_TRUE(json["indexedAt"].isNull());
}
