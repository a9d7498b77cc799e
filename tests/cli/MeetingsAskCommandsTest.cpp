// `larder meetings` and `larder ask` end to end: the built program on a
// library file holding a document and a meeting, Claude played by the fake
// Messages API server.
#include "meetings/MeetingStore.h"
#include "store/IndexStore.h"
#include "support/FakeClaudeServer.h"
#include "support/LibraryBuilder.h"
#include "support/TestEnvironment.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

QString makeLibrary()
{
    static int serial = 0;
    const QString database = TestEnvironment::makeFolder(u"ask-%1"_s.arg(++serial)) + u"/Library.sqlite"_s;
    const std::unique_ptr<IndexStore> store = IndexStore::open(QUrl::fromLocalFile(database));
    LibraryBuilder::add(*store, {{.path = u"/library/lease.pdf"_s, .text = u"the lease deposit is due in May"_s}});
    MeetingStore meetings(*store);
    meetings.insert(u"m1"_s, QDateTime::currentDateTime(), std::nullopt);
    Meeting meeting = *meetings.meeting(u"m1"_s);
    meeting.title = u"Weekly sync"_s;
    meeting.userNotes = u"ask about the deposit"_s;
    meetings.update(meeting);
    meetings.insertSegment({0, u"m1"_s, Speaker::them, 0, 3, u"the deposit\x1b[31m comes back"_s});
    meetings.indexPassages(meeting);
    return database;
}

FakeReply searchCall(const QString &query)
{
    return FakeReply::events(QList<QByteArray>{FakeReply::messageStart()}
                             + FakeReply::toolUseBlock(0, u"t1"_s, u"search_library"_s,
                                                       {QString::fromUtf8(JSONValue::object({{u"query"_s, query}, {u"scope"_s, "all"}}).serialized())})
                             + QList<QByteArray>{FakeReply::messageDelta("tool_use", 5), FakeReply::messageStop()});
}

} // namespace

TEST(MeetingsAskCommands, EveryOutcomeOnItsStreamWithItsStatus)
{
    const QString database = makeLibrary();
    const QString exported = TestEnvironment::home() + u"/sync.md"_s;
    const QString fts = u"deposit\" OR NEAR(lease *"_s;
    const QString notes = uR"({"title":"Deposit","summary":"","sections":[{"heading":"Deposit","bullets":[)"
                          uR"({"text":"Ask about the deposit","origin":"user"},{"text":"Back in May","origin":"ai"}]}],)"
                          uR"("decisions":[],"action_items":[]})"_s;
    const struct { QStringList arguments; QList<FakeReply> replies; int exitCode; QString says; QString silent = {}; } cases[] = {
        {{u"meetings"_s, u"list"_s}, {}, 0, u"m1  Today, "_s},
        {{u"meetings"_s, u"list"_s, u"--json"_s}, {}, 0, u"\"title\": \"Weekly sync\""_s},
        {{u"meetings"_s, u"show"_s, u"m1"_s}, {}, 0, u"[00:00] Them: the deposit\\x1b[31m comes back"_s, u"\x1b"_s},
        {{u"meetings"_s, u"show"_s, u"m1"_s, u"--json"_s}, {}, 0, u"\"speaker\": \"them\""_s},
        {{u"meetings"_s, u"export"_s, u"m1"_s, u"--output"_s, exported}, {}, 0, u"Saved “Weekly sync”"_s},
        {{u"meetings"_s, u"show"_s, u"nope"_s}, {}, 1, u"No meeting with the id “nope”."_s},
        {{u"meetings"_s, u"delete"_s, u"nope"_s, u"--yes"_s}, {}, 1, u"No meeting with the id “nope”."_s},
        {{u"meetings"_s, u"delete"_s, u"m1"_s}, {}, 2, u"needs --yes when not run from a terminal"_s},
        {{u"meetings"_s, u"show"_s}, {}, 2, u"missing the meeting's ID"_s},
        {{u"meetings"_s, u"rename"_s, u"m1"_s}, {}, 2, u"unknown action 'rename'"_s},
        {{u"ask"_s}, {}, 2, u"missing QUESTION"_s},
        {{u"ask"_s, QString(100000, u'a')}, {}, 2, u"the question is 100,000 characters long; ask in at most 20,000"_s},
        {{u"ask"_s, u"\x01\x1b\x7f"_s}, {}, 2, u"the question holds no words"_s},
        {{u"ask"_s, u"When is the deposit due?"_s},
         {searchCall(u"deposit"_s), FakeReply::streamedMessage({u"In May [S1]"_s, u", see [S9]."_s})}, 0,
         u"In May [S1], see [S9].\n\nSources:\n[1] "_s, u"[9] "_s},
        {{u"ask"_s, u"--json"_s, fts}, {searchCall(fts), FakeReply::streamedMessage({u"Found [S2]."_s})}, 0,
         u"\"cited\": [\n        2\n    ]"_s},
        {{u"ask"_s, u"--json"_s, u"Deposit?"_s}, {searchCall(u"deposit"_s), FakeReply::streamedMessage({u"Found."_s})}, 0,
         u"\"location\": \"/library/lease.pdf\""_s},
        {{u"ask"_s, u"Deposit?"_s}, {FakeReply::error(400, "invalid_request_error", u"bad"_s)}, 1,
         u"Claude error 400: bad"_s},
        {{u"meetings"_s, u"enhance"_s, u"m1"_s}, {FakeReply::streamedMessage({notes.left(30), notes.mid(30)})}, 0,
         u"# Deposit\n\n_"_s},
        {{u"meetings"_s, u"enhance"_s, u"nope"_s}, {}, 1, u"No meeting with the id “nope”."_s},
        {{u"meetings"_s, u"show"_s, u"m1"_s}, {}, 0, u"## Deposit\n- Ask about the deposit\n- Back in May"_s},
        {{u"meetings"_s, u"delete"_s, u"m1"_s, u"--yes"_s}, {}, 0, u"Deleted “Weekly sync”."_s},
        {{u"meetings"_s, u"list"_s}, {}, 0, u"No meetings."_s},
    };
    for (const auto &c : cases) {
        const QString name = c.arguments.join(u' ').left(80);
        FakeClaudeServer server;
        for (const FakeReply &reply : c.replies)
            server.enqueue(reply);
        QProcessEnvironment environment;
        environment.insert(u"LARDER_ANTHROPIC_BASE_URL"_s, server.baseURL());
        environment.insert(u"ANTHROPIC_API_KEY"_s, u"sk-test"_s);
        environment.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, u"unix:path=/nonexistent/bus"_s);
        const auto result = TestEnvironment::runLarder(QStringList{u"--database"_s, database} + c.arguments, environment);
        EXPECT_EQ(result.exitCode, c.exitCode) << qPrintable(name + u"\n"_s + result.out + result.err);
        EXPECT_TRUE((c.exitCode == 0 ? result.out : result.err).contains(c.says)) << qPrintable(name + u"\n"_s + result.out + result.err);
        if (!c.silent.isEmpty()) {
            EXPECT_FALSE(result.out.contains(c.silent)) << qPrintable(name);
        }
        EXPECT_EQ(server.requestCount(), c.replies.size()) << qPrintable(name);
    }
    QFile markdown(exported);
    ASSERT_TRUE(markdown.open(QIODevice::ReadOnly));
    const QString text = QString::fromUtf8(markdown.readAll());
    EXPECT_TRUE(text.startsWith(u"# Weekly sync\n\n_"_s)) << qPrintable(text);
    EXPECT_TRUE(text.endsWith(u"ask about the deposit\n\n## Transcript\n\n[00:00] Them: the deposit\x1b[31m comes back\n"_s));
}

TEST(MeetingsAskCommands, WritingNotesWithoutAKeySaysHowToAddOne)
{
    QProcessEnvironment environment;
    environment.insert(u"ANTHROPIC_API_KEY"_s, QString());
    environment.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, u"unix:path=/nonexistent/bus"_s);
    const auto result = TestEnvironment::runLarder({u"--database"_s, makeLibrary(), u"meetings"_s, u"enhance"_s, u"m1"_s},
                                                   environment);
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.err, u"Claude needs an API key to write the notes; add one with `larder key set`.\n"_s);
}

// Lines typed into `meetings listen` are the transcript: the questions heard
// print with their answers and sources, and the notes follow at the end;
// without a key the meeting is still kept, with one line saying why nothing
// was answered.
TEST(MeetingsAskCommands, ListenAnswersQuestionsAsTheyAreHeard)
{
    const QString notes = uR"({"title":"Deposit talk","summary":"","sections":[],"decisions":["Pay in May"],"action_items":[]})"_s;
    const struct { QString key; QStringList options; QList<FakeReply> replies; QStringList says; } cases[] = {
        {u"sk-test"_s, {},
         {FakeReply::message(uR"({"answerable":true,"answer":"In May.","sources":[1]})"_s),
          FakeReply::streamedMessage({notes})},
         {u"Question: When is the lease deposit due?\nAnswer: In May.\n  [1] lease.pdf ("_s, u"# Deposit talk"_s,
          u"- Pay in May\nSaved “Deposit talk” ("_s}},
        {QString(), {u"--no-notes"_s}, {}, {u"Saved “Untitled meeting” ("_s}},
    };
    for (const auto &c : cases) {
        FakeClaudeServer server;
        for (const FakeReply &reply : c.replies)
            server.enqueue(reply);
        QProcessEnvironment environment;
        environment.insert(u"LARDER_ANTHROPIC_BASE_URL"_s, server.baseURL());
        environment.insert(u"ANTHROPIC_API_KEY"_s, c.key);
        environment.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, u"unix:path=/nonexistent/bus"_s);
        const QString database = makeLibrary();
        const auto result = TestEnvironment::runLarder(
            QStringList{u"--database"_s, database, u"meetings"_s, u"listen"_s} + c.options, environment,
            "Them: Hi all. When is the lease deposit due?\nYou: Can everyone see my screen?\n\n");
        EXPECT_EQ(result.exitCode, 0) << qPrintable(result.out + result.err);
        for (const QString &text : c.says)
            EXPECT_TRUE(result.out.contains(text)) << qPrintable(text + u"\n---\n"_s + result.out);
        EXPECT_EQ(result.err.contains(u"needs an API key to answer questions live"_s), c.key.isEmpty()) << qPrintable(result.err);
        EXPECT_EQ(server.requestCount(), c.replies.size());
        const auto list = TestEnvironment::runLarder({u"--database"_s, database, u"meetings"_s, u"list"_s}, environment);
        EXPECT_EQ(list.out.count(u'\n'), 2) << qPrintable(list.out);
    }
}
