// What every command shares: help, usage errors, and the library it opens.
#include "support/TestEnvironment.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using TestEnvironment::runLarder;

// Help and the version on stdout with status 0; a usage error as one line on
// stderr, then the usage, with status 2.
TEST(LarderCommand, HelpVersionAndUsageErrors)
{
    const struct
    {
        QStringList arguments;
        int exitCode;
        const char *firstLine;
    } cases[] = {
        {{"--version"}, 0, "larder " LARDER_VERSION},
        {{"--help"}, 0, "Usage: larder [COMMAND] [OPTIONS]"},
        {{"info", "--help"}, 0, "Usage: larder info [options]"},
        {{"frobnicate"}, 2, "larder: unknown command 'frobnicate'"},
        {{"--frobnicate"}, 2, "larder: unknown option '--frobnicate'"},
        {{"info", "--frobnicate"}, 2, "larder info: Unknown option 'frobnicate'."},
        {{"info", "extra"}, 2, "larder info: unexpected argument 'extra'"},
        {{"status", "extra"}, 2, "larder status: unexpected argument 'extra'"},
        {{"index", "extra"}, 2, "larder index: unexpected argument 'extra'"},
    };
    for (const auto &c : cases) {
        const auto result = runLarder(c.arguments);
        EXPECT_EQ(result.exitCode, c.exitCode) << c.firstLine;
        const QString &shown = c.exitCode == 0 ? result.out : result.err;
        EXPECT_EQ(shown.section(u'\n', 0, 0), QString::fromUtf8(c.firstLine));
        EXPECT_EQ(shown.contains("Usage: larder"), c.exitCode != 0 || c.arguments.contains("--help"));
        EXPECT_TRUE((c.exitCode == 0 ? result.err : result.out).isEmpty());
    }
}

TEST(LarderCommand, InfoReportsTheLibraryAsJson)
{
    QTemporaryDir dir;
    const QString path = dir.path() + "/lib/Library.sqlite";
    const auto result = runLarder({"info", "--json", "--database", path});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    const QJsonObject info = QJsonDocument::fromJson(result.out.toUtf8()).object();
    EXPECT_EQ(info.value("database").toString(), path);
    EXPECT_EQ(info.value("schemaVersion").toInt(), 1);
    EXPECT_FALSE(info.value("inMemoryFallback").toBool(true));

    // The launch-argument form names the same library.
    const auto plain = runLarder({"-LarderDatabase", path, "info"});
    EXPECT_EQ(plain.exitCode, 0);
    EXPECT_TRUE(plain.out.contains(path)) << plain.out.toStdString();
}

TEST(LarderCommand, ALibraryThatCannotBeOpenedEndsEveryCommandWithTheReason)
{
    QTemporaryDir dir;
    const QString garbage = dir.path() + "/Library.sqlite";
    const QByteArray words("not a database at all, just some words\n");
    TestEnvironment::writeFile(garbage, words);
    const QString files = dir.path() + "/files";
    const QString file = files + "/keep.txt";
    TestEnvironment::writeFile(file, "still here");
    const QString blocked = garbage + "/sub/Library.sqlite";
    const QString notADatabase = "Couldn't open the library database: SQLite error 26: file is not a database";

    const struct
    {
        QStringList arguments;
        QString database;
        QString reason;
    } cases[] = {
        {{"status"}, garbage, notADatabase},
        {{"ls"}, garbage, notADatabase},
        {{"search", "words"}, garbage, notADatabase},
        {{"scan", files}, garbage, notADatabase},
        {{"index", "--roots", files}, garbage, notADatabase},
        {{"duplicates"}, garbage, notADatabase},
        {{"cleanup"}, garbage, notADatabase},
        {{"trash", file}, garbage, notADatabase},
        {{"status"}, blocked, "Couldn't open the library database: Couldn't create the folder"},
    };
    for (const auto &c : cases) {
        const auto result = runLarder(c.arguments + QStringList{"--database", c.database});
        EXPECT_EQ(result.exitCode, 1) << c.arguments.join(u' ').toStdString();
        EXPECT_TRUE(result.err.startsWith(c.reason)) << result.err.toStdString();
        EXPECT_EQ(result.err.count(u'\n'), 1) << "one line: " << result.err.toStdString();
        EXPECT_TRUE(result.out.isEmpty()) << result.out.toStdString();
    }
    EXPECT_TRUE(QFile::exists(file)) << "nothing is trashed without the library";

    // info shows the stand-in it fell back on, then fails the same way.
    const auto info = runLarder({"info", "--json", "--database", garbage});
    EXPECT_EQ(info.exitCode, 1);
    EXPECT_EQ(info.err, notADatabase + u'\n');
    const QJsonObject json = QJsonDocument::fromJson(info.out.toUtf8()).object();
    EXPECT_TRUE(json.value("inMemoryFallback").toBool());
    EXPECT_TRUE(json.value("inMemory").toBool());

    QFile library(garbage);
    ASSERT_TRUE(library.open(QIODevice::ReadOnly));
    EXPECT_EQ(library.readAll(), words);
}
