#include "support/TestEnvironment.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using TestEnvironment::runLarder;

TEST(LarderCommand, VersionAndHelp)
{
    const auto version = runLarder({QStringLiteral("--version")});
    EXPECT_EQ(version.exitCode, 0);
    EXPECT_TRUE(version.out.startsWith(QStringLiteral("larder "))) << version.out.toStdString();

    const auto help = runLarder({QStringLiteral("--help")});
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_TRUE(help.out.contains(QStringLiteral("info"))) << help.out.toStdString();

    const auto infoHelp = runLarder({QStringLiteral("info"), QStringLiteral("--help")});
    EXPECT_EQ(infoHelp.exitCode, 0);
    EXPECT_TRUE(infoHelp.out.startsWith(QStringLiteral("Usage: larder info"))) << infoHelp.out.toStdString();
}

TEST(LarderCommand, UsageErrorsExitTwoWithOneLineThenTheUsage)
{
    const struct
    {
        QStringList arguments;
        const char *firstLine;
    } cases[] = {
        {{QStringLiteral("frobnicate")}, "larder: unknown command 'frobnicate'"},
        {{QStringLiteral("--frobnicate")}, "larder: unknown option '--frobnicate'"},
        {{QStringLiteral("info"), QStringLiteral("--frobnicate")}, "larder info: Unknown option 'frobnicate'."},
        {{QStringLiteral("info"), QStringLiteral("extra")}, "larder info: unexpected argument 'extra'"},
    };
    for (const auto &c : cases) {
        const auto result = runLarder(c.arguments);
        EXPECT_EQ(result.exitCode, 2) << c.firstLine;
        EXPECT_EQ(result.err.section(u'\n', 0, 0), QString::fromUtf8(c.firstLine));
        EXPECT_TRUE(result.err.contains(QStringLiteral("Usage: larder"))) << result.err.toStdString();
        EXPECT_TRUE(result.out.isEmpty());
    }
}

TEST(LarderCommand, InfoReportsTheLibraryAsJson)
{
    QTemporaryDir dir;
    const QString path = dir.path() + QStringLiteral("/lib/Library.sqlite");
    const auto result = runLarder({QStringLiteral("info"), QStringLiteral("--json"), QStringLiteral("--database"), path});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    const QJsonObject info = QJsonDocument::fromJson(result.out.toUtf8()).object();
    EXPECT_EQ(info.value(QStringLiteral("database")).toString(), path);
    EXPECT_EQ(info.value(QStringLiteral("schemaVersion")).toInt(), 1);
    EXPECT_EQ(info.value(QStringLiteral("files")).toInt(-1), 0);
    EXPECT_EQ(info.value(QStringLiteral("passages")).toInt(-1), 0);
    EXPECT_EQ(info.value(QStringLiteral("meetings")).toInt(-1), 0);
    EXPECT_FALSE(info.value(QStringLiteral("inMemoryFallback")).toBool(true));
    EXPECT_TRUE(QFile::exists(path));

    // The launch-argument form names the same library.
    const auto plain = runLarder({QStringLiteral("-LarderDatabase"), path, QStringLiteral("info")});
    EXPECT_EQ(plain.exitCode, 0);
    EXPECT_TRUE(plain.out.contains(path)) << plain.out.toStdString();
}

TEST(LarderCommand, InfoOnAFileThatIsNotALibraryFallsBackAndSaysSo)
{
    QTemporaryDir dir;
    const QString path = dir.path() + QStringLiteral("/Library.sqlite");
    TestEnvironment::writeFile(path, "not a database at all, just some words\n");
    const auto result = runLarder({QStringLiteral("info"), QStringLiteral("--json"), QStringLiteral("--database"), path});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.err.trimmed(),
              QStringLiteral("Couldn't open the library database: SQLite error 26: file is not a database"));
    const QJsonObject info = QJsonDocument::fromJson(result.out.toUtf8()).object();
    EXPECT_TRUE(info.value(QStringLiteral("inMemoryFallback")).toBool());
    EXPECT_TRUE(info.value(QStringLiteral("inMemory")).toBool());
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(file.readAll(), QByteArray("not a database at all, just some words\n"));
}

TEST(LarderCommand, InfoUnderATestHostUsesMemoryAndWritesNoFile)
{
    QProcessEnvironment environment;
    environment.insert(QStringLiteral("LARDER_TEST_HOST"), QStringLiteral("1"));
    const auto result = runLarder({QStringLiteral("info"), QStringLiteral("--json")}, environment);
    EXPECT_EQ(result.exitCode, 0);
    const QJsonObject info = QJsonDocument::fromJson(result.out.toUtf8()).object();
    EXPECT_TRUE(info.value(QStringLiteral("inMemory")).toBool());
    EXPECT_FALSE(QFile::exists(TestEnvironment::home() + QStringLiteral("/.local/share/Larder")));
}
