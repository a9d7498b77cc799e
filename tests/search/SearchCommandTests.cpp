// `larder search` end to end: the real program on a library file.
#include "support/FakeClaudeServer.h"
#include "support/LibraryBuilder.h"
#include "support/TestEnvironment.h"

#include <QDateTime>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>

#include <gtest/gtest.h>

namespace {

class SearchCommand : public ::testing::Test
{
protected:
    // A library of three files under the home folder, one downloaded from Gmail.
    static void SetUpTestSuite()
    {
        databasePath = TestEnvironment::makeFolder("search-command") + "/Library.sqlite";
        const QString root = TestEnvironment::home() + "/Library";
        const double now = double(QDateTime::currentSecsSinceEpoch());
        ids = LibraryBuilder::add(*IndexStore::open(QUrl::fromLocalFile(databasePath)), {
            {root + "/Housing/lease-2024.pdf", FileKind::document, 2400, now - 3600,
             "The lease agreement for the flat, signed in March.", "gmail"},
            {root + "/Shared/notes.txt", FileKind::document, 300, now - 7200, "Shopping list. The lease came up once."},
            {root + "/Shared/holiday.mp4", FileKind::video, 1000, now - 60, {}},
        });
    }

    static TestEnvironment::ProgramResult search(const QStringList &arguments, const QProcessEnvironment &extra = {})
    {
        return TestEnvironment::runLarder(QStringList{"search", "--database", databasePath} + arguments, extra);
    }
    static QJsonValue searchJson(const QStringList &arguments)
    {
        return QJsonDocument::fromJson(search(QStringList{"--json"} + arguments).out.toUtf8()).object();
    }

    static inline QString databasePath;
    static inline QList<qint64> ids;
};

// Each hit prints as its name, its facts and a plain snippet when the output
// is not a terminal; JSON keeps the record fields and the match markers.
TEST_F(SearchCommand, PrintsEachHitAsTextOrJsonAndExplainsTheRequest)
{
    const auto result = search({"lease"});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    static const QRegularExpression firstHit("^lease-2024.pdf\n    ~/Library/Housing · 2 KB · [^\n]+ · Gmail\n"
                                             ".*The lease agreement");
    EXPECT_TRUE(firstHit.match(result.out).hasMatch()) << result.out.toStdString();
    EXPECT_FALSE(result.out.contains(u'⟦') || result.out.contains(u'\x1b'));

    const QJsonValue object = searchJson({"the", "lease", "--limit", "1"});
    ASSERT_EQ(object["hits"].toArray().size(), 1);
    const QJsonValue hit = object["hits"][0];
    EXPECT_EQ(QJsonArray({hit["file"]["name"], hit["file"]["size"], hit["file"]["sourceID"], hit["reason"],
                          object["query"]["keywords"]}),
              QJsonArray({"lease-2024.pdf", 2400, "gmail", QJsonValue::Null, QJsonArray{"lease"}}));
    EXPECT_TRUE(hit["score"].toDouble() > 0 && hit["snippet"].toString().contains("⟦lease⟧"));

    // --explain lists the chips in order.
    const auto explained = search({"--explain", "big videos and pdfs from gmail about my lease downloaded last week"});
    EXPECT_TRUE(explained.out.startsWith("Understood as:\n  Videos\n  PDF\n  Downloaded · Last week\n"
                                         "  Over 100 MB\n  From Gmail\n  “lease”\n\n"))
        << explained.out.toStdString() << explained.err.toStdString();
    EXPECT_EQ(searchJson({"--explain", "screenshots"})["chips"].toArray(), QJsonArray{"Screenshots"});
}

TEST_F(SearchCommand, AnswersEveryRequestWithHitsNothingOrUsage)
{
    // The arguments, the exit status and how the output starts.
    const std::tuple<QStringList, int, QString> cases[] = {
        {{"xyzzy"}, 0, "No files found.\n"},
        // A blank request lists the newest files.
        {{"  "}, 0, "holiday.mp4\n"},
        // Whatever a terminal passes searches without an error.
        {{"\"lease* AND (NOT title:notes) NEAR(a b)"}, 0, QString()},
        {QStringList(), 2, QString()}, {{"--limit", "0", "lease"}, 2, QString()},
    };
    for (const auto &[arguments, exitCode, out] : cases) {
        const auto result = search(arguments);
        EXPECT_EQ(result.exitCode, exitCode) << arguments.join(u' ').left(80).toStdString();
        EXPECT_TRUE(result.out.startsWith(out)) << result.out.toStdString();
        EXPECT_TRUE(exitCode == 0 ? result.err.isEmpty() : result.err.contains("Usage: larder search"))
            << result.err.toStdString();
    }

    // A request that finds nothing says how it was read and what may have been meant.
    EXPECT_EQ(search({"leese", "agreemnt"}).out,
              "No files found.\nRead as: “leese” · “agreemnt”\nDid you mean “lease agreement”?\n");
    EXPECT_EQ(search({"leese", "videos"}).out, "No files found.\nRead as: Videos · “leese”\n");
    EXPECT_EQ(QJsonArray({searchJson({"leese"})["suggestion"], searchJson({"lease"})["suggestion"]}),
              QJsonArray({"lease", QJsonValue::Null}));

    // After "--" every word is the request, even one that looks like a launch argument.
    EXPECT_EQ(searchJson({"--", "-draft", "notes"})["query"]["keywords"].toArray(), QJsonArray({"draft", "notes"}));
}

// --ai prints the local results first, then Claude's reading, its picks with
// their reasons and the other candidates; without a key or when Claude fails,
// the local results still print.
TEST_F(SearchCommand, AddsClaudesPicksAfterTheLocalResults)
{
    const FakeReply plan = FakeReply::message(R"({"keywords":["lease"],"related_terms":["flat"],"summary":"Flat lease"})");
    const FakeReply picks = FakeReply::message(QString(R"({"matches":[{"id":%1,"relevance":0.9,"reason":"The signed lease"},)"
                                                       R"({"id":%2,"relevance":0.2,"reason":"In passing"}]})")
                                                   .arg(ids.at(0))
                                                   .arg(ids.at(1)));
    const auto run = [](const QStringList &arguments, const QList<FakeReply> &replies, bool key) {
        FakeClaudeServer server;
        for (const FakeReply &reply : replies)
            server.enqueue(reply);
        QProcessEnvironment environment;
        environment.insert("LARDER_ANTHROPIC_BASE_URL", server.baseURL());
        environment.insert("ANTHROPIC_API_KEY", key ? "sk-test" : "");
        const auto result = search(QStringList{"--ai"} + arguments, environment);
        EXPECT_EQ(server.requestCount(), replies.size()) << result.err.toStdString();
        return result;
    };
    // The output as a pattern over the whole of it, and the error's.
    const struct { QList<FakeReply> replies; bool key; int exitCode; QString out; QString err; } cases[] = {
        {{}, false, 0, "^lease-2024.pdf\n.*notes.txt\n[^\n]*\n[^\n]*\n$", "^Claude needs an API key.*`larder key set`"},
        {{plan, picks}, true, 0,
         "^lease-2024.pdf\n.*\nClaude read it as: Flat lease\n\nBest matches\n\nlease-2024.pdf\n.*"
         "    Why: The signed lease\n\nOther matches\n\nnotes.txt\n", "^$"},
        {{FakeReply::error(400, "invalid_request_error", "bad request")}, true, 1, "^lease-2024.pdf\n",
         "^Claude error 400: bad request\n$"},
    };
    for (const auto &c : cases) {
        const auto result = run({"my", "lease"}, c.replies, c.key);
        EXPECT_EQ(result.exitCode, c.exitCode) << c.err.toStdString();
        EXPECT_TRUE(QRegularExpression(c.out, QRegularExpression::DotMatchesEverythingOption).match(result.out).hasMatch())
            << result.out.toStdString();
        EXPECT_TRUE(QRegularExpression(c.err).match(result.err).hasMatch()) << result.err.toStdString();
    }

    // JSON carries the plan, the merged request, the picks and the rest.
    const QJsonValue ai = QJsonDocument::fromJson(run({"--json", "my lease"}, {plan, picks}, true).out.toUtf8())["ai"];
    EXPECT_EQ(QJsonArray({ai["plan"]["summary"], ai["query"]["relatedTerms"], ai["picks"][0]["file"]["name"],
                          ai["picks"][0]["reason"], ai["picks"][0]["score"], ai["others"].toArray().size()}),
              QJsonArray({"Flat lease", QJsonArray{"flat"}, "lease-2024.pdf", "The signed lease", 0.9, 1}));
}

} // namespace
