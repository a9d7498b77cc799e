// `larder scan` and `larder ls` end to end, through the built program on a
// real library file.
#include "support/MediaFixtures.h"
#include "support/TestEnvironment.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

namespace {

using TestEnvironment::runLarder;
using TestEnvironment::writeFile;

class ScanAndListTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        static int serial = 0;
        folder = TestEnvironment::makeFolder(QStringLiteral("cli-%1").arg(++serial));
        database = folder + "/Library.sqlite";
        root = folder + "/files";
        writeFile(root + "/Documents/lease.pdf", QByteArray(2000, 'x'));
        writeFile(root + "/Documents/notes.txt", "short");
        writeFile(root + "/Archive/backup.zip", QByteArray("PK\x05\x06", 4) + QByteArray(5000, '\0'));
        ASSERT_TRUE(MediaFixtures::writeImage(root + "/Pictures/Screenshot from 2024-05-01.png", 16, 9));
    }

    TestEnvironment::ProgramResult larder(QStringList arguments)
    {
        arguments << "--database" << database;
        return runLarder(arguments);
    }

    QJsonArray listJson(const QStringList &options)
    {
        const auto result = larder(QStringList{"ls", "--json"} + options);
        EXPECT_EQ(result.exitCode, 0) << result.err.toStdString();
        return QJsonDocument::fromJson(result.out.toUtf8()).array();
    }

    static QStringList names(const QJsonArray &array)
    {
        QStringList list;
        for (const QJsonValue &value : array)
            list.append(value.toObject().value("name").toString());
        return list;
    }

    QString folder;
    QString database;
    QString root;
};

TEST_F(ScanAndListTest, ScanFindsAndARescanRemovesWhatWentAway)
{
    auto result = larder({"scan", root});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    EXPECT_EQ(result.out, QStringLiteral("Scanned %1: 4 files found, 0 removed.\n").arg(root));
    EXPECT_TRUE(result.err.isEmpty()) << "no progress when stderr isn't a terminal";

    QFile::remove(root + "/Documents/notes.txt");
    result = larder({"scan", root, "--json"});
    ASSERT_EQ(result.exitCode, 0);
    const QJsonObject summary = QJsonDocument::fromJson(result.out.toUtf8()).object();
    EXPECT_EQ(summary.value("found").toInt(), 3);
    EXPECT_EQ(summary.value("removed").toInt(), 1);
    EXPECT_EQ(summary.value("root").toString(), root);
    EXPECT_EQ(summary.value("skippedNames").toInt(), 0);
}

TEST_F(ScanAndListTest, ListFiltersSortsAndPrintsRecords)
{
    ASSERT_EQ(larder({"scan", root}).exitCode, 0);

    EXPECT_EQ(names(listJson({"--sort", "size"})),
              (QStringList{"backup.zip", "lease.pdf", "Screenshot from 2024-05-01.png", "notes.txt"}));
    EXPECT_EQ(names(listJson({"--sort", "name", "--limit", "2"})), (QStringList{"backup.zip", "lease.pdf"}));
    EXPECT_EQ(names(listJson({"--kind", "archive", "--ext", "txt", "--sort", "name"})),
              (QStringList{"backup.zip", "notes.txt"}));
    EXPECT_EQ(names(listJson({"--min-size", "1k", "--max-size", "2k", "--sort", "name"})), QStringList{"lease.pdf"});
    EXPECT_EQ(names(listJson({"--screenshots"})), QStringList{"Screenshot from 2024-05-01.png"});
    EXPECT_EQ(names(listJson({"--folder", root + "/Documents", "--sort", "name"})),
              (QStringList{"lease.pdf", "notes.txt"}));

    const QJsonObject image = listJson({"--kind", "image"}).first().toObject();
    EXPECT_EQ(image.value("kind").toString(), "image");
    EXPECT_EQ(image.value("width").toInt(), 16);
    EXPECT_EQ(image.value("height").toInt(), 9);
    EXPECT_TRUE(image.value("isScreenshot").toBool());
    EXPECT_EQ(image.value("path").toString(), root + "/Pictures/Screenshot from 2024-05-01.png");
    EXPECT_TRUE(image.value("modified").isDouble());
    EXPECT_FALSE(image.contains("sourceID"));

    const auto text = larder({"ls", "--kind", "document", "--sort", "name"});
    EXPECT_EQ(text.exitCode, 0);
    const QStringList lines = text.out.split('\n', Qt::SkipEmptyParts);
    ASSERT_EQ(lines.size(), 2);
    EXPECT_TRUE(lines.first().startsWith("document")) << lines.first().toStdString();
    EXPECT_TRUE(lines.first().endsWith(root + "/Documents/lease.pdf"));
    EXPECT_TRUE(lines.first().contains("2 KB"));

    const auto empty = larder({"ls", "--from", "gmail"});
    EXPECT_EQ(empty.exitCode, 0);
    EXPECT_EQ(empty.out, "No files found.\n");
}

TEST_F(ScanAndListTest, BadInputGetsAUsageErrorOrAFailure)
{
    const struct
    {
        QStringList arguments;
        int exitCode;
        const char *message;
    } cases[] = {
        {{"scan"}, 2, "missing FOLDER"},
        {{"scan", "/a", "/b"}, 2, "unexpected argument '/b'"},
        {{"scan", "/no/such/folder"}, 1, "There's no folder at “/no/such/folder”."},
        {{"ls", "--kind", "gadget"}, 2, "unknown kind 'gadget'"},
        {{"ls", "--sort", "newest"}, 2, "unknown order 'newest'"},
        {{"ls", "--min-size", "lots"}, 2, "'lots' is not a size"},
        {{"ls", "--limit", "0"}, 2, "'0' is not a positive number"},
        {{"ls", "--colour"}, 2, "Unknown option 'colour'"},
    };
    for (const auto &c : cases) {
        const auto result = larder(c.arguments);
        EXPECT_EQ(result.exitCode, c.exitCode) << c.arguments.join(' ').toStdString();
        EXPECT_TRUE(result.err.contains(QString::fromUtf8(c.message))) << result.err.toStdString();
    }
    const QString file = root + "/Documents/notes.txt";
    const auto notFolder = larder({"scan", file});
    EXPECT_EQ(notFolder.exitCode, 1);
    EXPECT_TRUE(notFolder.err.contains("is not a folder"));
}

} // namespace
