// `larder search` end to end: the real program on a library file.
#include "cli/HitText.h"
#include "support/LibraryBuilder.h"
#include "support/TestEnvironment.h"

#include <QDateTime>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>

#include <gtest/gtest.h>

namespace {

class SearchCommand : public ::testing::Test
{
protected:
    // A library of three files under the home folder, one downloaded from Gmail.
    static void SetUpTestSuite()
    {
        databasePath = TestEnvironment::makeFolder(QStringLiteral("search-command")) + QStringLiteral("/Library.sqlite");
        const QString root = TestEnvironment::home() + QStringLiteral("/Library");
        const double now = double(QDateTime::currentSecsSinceEpoch());
        LibraryBuilder::add(*IndexStore::open(QUrl::fromLocalFile(databasePath)),
                            {
                                {root + QStringLiteral("/Housing/lease-2024.pdf"), FileKind::document, 2400, now - 3600,
                                 QStringLiteral("The lease agreement for the flat, signed in March."), QStringLiteral("gmail")},
                                {root + QStringLiteral("/Shared/notes.txt"), FileKind::document, 300, now - 7200,
                                 QStringLiteral("Shopping list. The lease came up once.")},
                                {root + QStringLiteral("/Shared/holiday.mp4"), FileKind::video, 1000, now - 60, QString()},
                            });
    }

    static TestEnvironment::ProgramResult search(const QStringList &arguments)
    {
        return TestEnvironment::runLarder(QStringList{QStringLiteral("search"), QStringLiteral("--database"),
                                                      databasePath} + arguments);
    }

    static inline QString databasePath;
};

TEST_F(SearchCommand, PrintsEachHitWithItsFactsAndSnippet)
{
    const auto result = search({QStringLiteral("lease")});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    const QStringList lines = result.out.split(u'\n');
    ASSERT_GE(lines.size(), 3);
    EXPECT_EQ(lines.at(0), QStringLiteral("lease-2024.pdf"));
    EXPECT_TRUE(lines.at(1).startsWith(QStringLiteral("    ~/Library/Housing · 2 KB · "))) << lines.at(1).toStdString();
    EXPECT_TRUE(lines.at(1).endsWith(QStringLiteral(" · Gmail")));
    // Not a terminal: the words are plain, without markers or escapes.
    EXPECT_TRUE(lines.at(2).contains(QStringLiteral("The lease agreement"))) << lines.at(2).toStdString();
    EXPECT_FALSE(result.out.contains(u'⟦'));
    EXPECT_FALSE(result.out.contains(u'\x1b'));
    EXPECT_TRUE(result.out.contains(QStringLiteral("\nnotes.txt\n    ~/Library/Shared · 300 bytes · ")))
        << result.out.toStdString();
}

TEST_F(SearchCommand, JsonKeepsTheRecordFieldsAndMarkers)
{
    const auto result = search({QStringLiteral("--json"), QStringLiteral("the"), QStringLiteral("lease"),
                                QStringLiteral("--limit"), QStringLiteral("1")});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    const QJsonObject object = QJsonDocument::fromJson(result.out.toUtf8()).object();
    const QJsonArray hits = object.value(QStringLiteral("hits")).toArray();
    ASSERT_EQ(hits.size(), 1);
    const QJsonObject hit = hits.at(0).toObject();
    const QJsonObject file = hit.value(QStringLiteral("file")).toObject();
    EXPECT_EQ(file.value(QStringLiteral("name")).toString(), QStringLiteral("lease-2024.pdf"));
    EXPECT_EQ(file.value(QStringLiteral("size")).toInteger(), 2400);
    EXPECT_EQ(file.value(QStringLiteral("sourceID")).toString(), QStringLiteral("gmail"));
    EXPECT_GT(hit.value(QStringLiteral("score")).toDouble(), 0);
    EXPECT_TRUE(hit.value(QStringLiteral("snippet")).toString().contains(QStringLiteral("⟦lease⟧")));
    EXPECT_TRUE(hit.value(QStringLiteral("reason")).isNull());
    EXPECT_EQ(object.value(QStringLiteral("query")).toObject().value(QStringLiteral("keywords")).toArray(),
              QJsonArray{QStringLiteral("lease")});
}

TEST_F(SearchCommand, ExplainListsTheChipsInOrder)
{
    const auto result = search({QStringLiteral("--explain"),
                                QStringLiteral("big videos and pdfs from gmail about my lease downloaded last week")});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    EXPECT_TRUE(result.out.startsWith(QStringLiteral("Understood as:\n  Videos\n  PDF\n  Downloaded · Last week\n"
                                                     "  Over 100 MB\n  From Gmail\n  “lease”\n\n")))
        << result.out.toStdString();

    const auto json = search({QStringLiteral("--explain"), QStringLiteral("--json"), QStringLiteral("screenshots")});
    const QJsonObject object = QJsonDocument::fromJson(json.out.toUtf8()).object();
    EXPECT_EQ(object.value(QStringLiteral("chips")).toArray(), QJsonArray{QStringLiteral("Screenshots")});
}

TEST_F(SearchCommand, AnswersEveryRequestWithHitsNothingOrUsage)
{
    const QString nothing = QStringLiteral("No files found.\n");
    const QString usage = QStringLiteral("Usage: larder search");
    const struct
    {
        QStringList arguments;
        int exitCode;
        QString out; // the output starts so
        QString err = {}; // the error output holds this; empty: there is none
    } cases[] = {
        {{QStringLiteral("xyzzy")}, 0, nothing},
        // A blank request lists the newest files.
        {{QStringLiteral("  ")}, 0, QStringLiteral("holiday.mp4\n")},
        // Whatever a terminal passes searches without an error.
        {{QStringLiteral("\"lease* AND (NOT title:notes) NEAR(a b)")}, 0, QString()},
        {{QString(10'000, u'(')}, 0, QString()},
        {{QStringLiteral("lease\x01\x02\t\x7f OR")}, 0, QString()},
        {{}, 2, QString(), usage},
        {{QStringLiteral("--limit"), QStringLiteral("0"), QStringLiteral("lease")}, 2, QString(), usage},
        {{QStringLiteral("--database"), QStringLiteral("/proc/larder/Library.sqlite"), QStringLiteral("lease")}, 1, QString(),
         QStringLiteral("Couldn't open the library database")},
    };
    for (const auto &c : cases) {
        const auto result = search(c.arguments);
        EXPECT_EQ(result.exitCode, c.exitCode) << c.arguments.join(u' ').left(80).toStdString();
        EXPECT_TRUE(result.out.startsWith(c.out)) << result.out.toStdString();
        EXPECT_TRUE(c.err.isEmpty() ? result.err.isEmpty() : result.err.contains(c.err)) << result.err.toStdString();
    }

    // After "--" every word is the request, even one that looks like a launch argument.
    const auto dashed = search({QStringLiteral("--json"), QStringLiteral("--"), QStringLiteral("-draft"), QStringLiteral("notes")});
    EXPECT_EQ(QJsonDocument::fromJson(dashed.out.toUtf8())["query"]["keywords"].toArray(),
              (QJsonArray{QStringLiteral("draft"), QStringLiteral("notes")}))
        << dashed.out.toStdString() << dashed.err.toStdString();

    // Bytes that are not UTF-8, as a terminal may pass them.
    QProcess shell;
    shell.start(QStringLiteral("/bin/sh"),
                {QStringLiteral("-c"), QStringLiteral("\"$0\" search --database \"$1\" \"$(printf 'lease \\377\\376 \\303(')\""),
                 QStringLiteral(LARDER_BINARY), databasePath});
    ASSERT_TRUE(shell.waitForFinished(60000));
    EXPECT_EQ(shell.exitCode(), 0) << shell.readAllStandardError().toStdString();
    EXPECT_TRUE(shell.readAllStandardOutput().startsWith("lease-2024.pdf\n"));
}

TEST(HitText, BoldOnlyOnATerminal)
{
    const QString snippet = QStringLiteral("…the ⟦lease⟧\nand ⟦flat⟧");
    EXPECT_EQ(snippetText(snippet, Emphasis::terminalBold),
              QStringLiteral("…the \x1b[1mlease\x1b[22m and \x1b[1mflat\x1b[22m"));
    EXPECT_EQ(snippetText(snippet, Emphasis::plain), QStringLiteral("…the lease and flat"));
}

} // namespace
