// What every command shares: help, usage errors, and the library it opens.
#include "support/TestEnvironment.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using TestEnvironment::runLarder;

// Help and the version on stdout with status 0; a usage error as one line on
// stderr, then the usage, with status 2.
TEST(LarderCommand, HelpVersionAndUsageErrors)
{
    // The arguments, the exit status and the first line shown.
    const std::tuple<QStringList, int, QString> cases[] = {
        {{"--version"}, 0, "larder " LARDER_VERSION},
        {{"--help"}, 0, "Usage: larder [COMMAND] [OPTIONS]"},
        {{"info", "--help"}, 0, "Usage: larder info [options]"},
        {{"frobnicate"}, 2, "larder: unknown command 'frobnicate'"},
        {{"--frobnicate"}, 2, "larder: unknown option '--frobnicate'"},
        {{"info", "--frobnicate"}, 2, "larder info: unknown option '--frobnicate'"},
        {{"info", "--database"}, 2, "larder info: missing value after '--database'"},
        {{"--database"}, 2, "larder: missing value after '--database'"},
        {{"info", "extra"}, 2, "larder info: unexpected argument 'extra'"},
    };
    for (const auto &[arguments, exitCode, firstLine] : cases) {
        const auto result = runLarder(arguments);
        EXPECT_EQ(result.exitCode, exitCode) << firstLine.toStdString();
        const QString &shown = exitCode == 0 ? result.out : result.err;
        EXPECT_EQ(shown.section(u'\n', 0, 0), firstLine);
        EXPECT_EQ(shown.contains("Usage: larder"), exitCode != 0 || arguments.contains("--help"));
        EXPECT_TRUE((exitCode == 0 ? result.err : result.out).isEmpty());
    }
}

// Without a command larder opens its window; with no display to open it on,
// one line says so and the status is 1, launch arguments or not.
TEST(LarderCommand, TheWindowWithoutADisplayFailsInOneLine)
{
    QProcessEnvironment noDisplay;
    for (const char *name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"})
        noDisplay.insert(name, "");
    for (const QStringList &arguments : {QStringList{}, QStringList{"-LarderDatabase", "/nowhere/Library.sqlite"}}) {
        const auto result = runLarder(arguments, noDisplay);
        EXPECT_EQ(result.exitCode, 1);
        EXPECT_TRUE(result.err.startsWith("larder: no display to open the window on")) << result.err.toStdString();
        EXPECT_EQ(result.err.count(u'\n'), 1);
        EXPECT_TRUE(result.out.isEmpty());
    }
}

TEST(LarderCommand, InfoReportsTheLibraryAsJson)
{
    QTemporaryDir dir;
    const QString path = dir.path() + "/lib/Library.sqlite";
    const auto result = runLarder({"info", "--json", "--database", path});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    const QJsonObject info = QJsonDocument::fromJson(result.out.toUtf8()).object();
    EXPECT_EQ(QJsonArray({info["database"], info["schemaVersion"], info["inMemoryFallback"]}),
              QJsonArray({path, 1, false}));

    // The launch-argument form and the option before the command name the same library.
    for (const QStringList &arguments : {QStringList{"-LarderDatabase", path, "info"}, {"--database", path, "info"}}) {
        const auto plain = runLarder(arguments);
        EXPECT_TRUE(plain.exitCode == 0 && plain.out.contains(path)) << plain.err.toStdString();
    }
}

TEST(LarderCommand, ALibraryThatCannotBeOpenedEndsEveryCommandWithTheReason)
{
    QTemporaryDir dir;
    const QString junk = dir.path() + "/Library.sqlite";
    const QByteArray words("not a database at all, just some words\n");
    TestEnvironment::writeFile(junk, words);
    const QString files = dir.path() + "/files";
    const QString file = files + "/keep.txt";
    TestEnvironment::writeFile(file, "still here");
    const QString blocked = junk + "/sub/Library.sqlite";
    const QString notADatabase = "Couldn't open the library database: SQLite error 26: file is not a database";

    // The command, the library it names and how the reason starts.
    const std::tuple<QStringList, QString, QString> cases[] = {
        {{"status"}, junk, notADatabase}, {{"ls"}, junk, notADatabase}, {{"search", "words"}, junk, notADatabase},
        {{"scan", files}, junk, notADatabase}, {{"index", "--roots", files}, junk, notADatabase},
        {{"duplicates"}, junk, notADatabase}, {{"cleanup"}, junk, notADatabase}, {{"trash", file}, junk, notADatabase},
        {{"status"}, blocked, "Couldn't open the library database: Couldn't create the folder"},
    };
    for (const auto &[arguments, database, reason] : cases) {
        const auto result = runLarder(arguments + QStringList{"--database", database});
        EXPECT_TRUE(result.exitCode == 1 && result.out.isEmpty()) << arguments.join(u' ').toStdString();
        EXPECT_TRUE(result.err.startsWith(reason) && result.err.count(u'\n') == 1) << result.err.toStdString();
    }
    EXPECT_TRUE(QFile::exists(file)) << "nothing is trashed without the library";

    // info shows the stand-in it fell back on, then fails the same way.
    const auto info = runLarder({"info", "--json", "--database", junk});
    EXPECT_EQ(info.exitCode, 1);
    EXPECT_EQ(info.err, notADatabase + u'\n');
    const QJsonObject json = QJsonDocument::fromJson(info.out.toUtf8()).object();
    EXPECT_TRUE(json["inMemoryFallback"].toBool() && json["inMemory"].toBool()) << info.out.toStdString();

    QFile library(junk);
    ASSERT_TRUE(library.open(QIODevice::ReadOnly));
    EXPECT_EQ(library.readAll(), words);
}
