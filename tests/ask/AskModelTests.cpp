// The Ask conversation on the main thread: turns fed by the agent's events,
// one run at a time, stop and new conversation, and the source links.
#include "AskLibrary.h"

#include "ask/AskModel.h"
#include "ask/CitationMarks.h"
#include "support/FakeClaudeServer.h"
#include "support/TestEnvironment.h"

#include <QSignalSpy>

#include <gtest/gtest.h>

using TestEnvironment::waitUntil;

namespace {

struct ModelTest : ::testing::Test
{
    AskLibrary library;
    FakeClaudeServer server;
    ClaudeClient client{[] { return std::optional<QString>(u"sk-test"_s); }, server.clientOptions()};
    AskAgent *agent = new AskAgent(client, [] { return u"claude-test"_s; }, library.store, library.meetings);
    AskModel model{std::unique_ptr<AskAgent>(agent)};

    bool settled() { return waitUntil([&] { return !model.isBusy() && model.turns().last().done; }); }
};

FakeReply searchThenAnswer()
{
    return FakeReply::events(QList<QByteArray>{FakeReply::messageStart()} + FakeReply::textBlock(0, {u"Looking."_s})
                             + FakeReply::toolUseBlock(1, u"t1"_s, u"search_library"_s, {uR"({"query":"deposit"})"_s})
                             + QList<QByteArray>{FakeReply::messageDelta("tool_use", 5), FakeReply::messageStop()});
}

// A reply that doesn't start before the test is done with it.
FakeReply stalled()
{
    FakeReply reply = FakeReply::streamedMessage({u"late"_s});
    reply.delayBeforeMs = 20000;
    return reply;
}

} // namespace

TEST(CitationMarks, LinksAndCitedNumbers)
{
    EXPECT_EQ(withCitationLinks(u"Due [S12]; not [S] or [s1]."_s), u"Due [12](larder-cite://12); not [S] or [s1]."_s);
    EXPECT_EQ(citedNumbers(u"[S2] a [S2] b [S1] [S] [s3]"_s), (QList<int>{2, 1}));
    EXPECT_EQ(citationNumber(u"larder-cite://12"_s), 12);
    EXPECT_EQ(citationNumber(u"https://12"_s), std::nullopt);
}

TEST_F(ModelTest, ATurnStreamsStepsAndEndsWithItsSources)
{
    model.setInput(u"   "_s);
    model.send();
    EXPECT_TRUE(model.turns().isEmpty());
    EXPECT_EQ(model.input(), u"   "_s);

    server.enqueue(searchThenAnswer());
    server.enqueue(FakeReply::streamedMessage({u" In May [S2] "_s, u"and [S7]. "_s}));
    model.setInput(u" When is the deposit due? "_s);
    model.send();
    EXPECT_TRUE(model.input().isEmpty());
    EXPECT_TRUE(model.isBusy());
    model.send(u"ignored while busy"_s);
    ASSERT_TRUE(settled());
    ASSERT_EQ(model.turns().size(), 1);
    const AskModel::Turn &turn = model.turns().first();
    EXPECT_EQ(turn.question, u"When is the deposit due?"_s);
    // What came before the lookup was commentary and is gone.
    EXPECT_EQ(turn.answer, u"In May [S2] and [S7]."_s);
    EXPECT_EQ(turn.steps, QStringList{u"Searched for “deposit”"_s});
    EXPECT_FALSE(turn.error);
    const QVariantMap shown = model.turnValues().first().toMap();
    ASSERT_TRUE(turn.citations.contains(2));
    // [S7] names no source, so only 2 is listed.
    EXPECT_EQ(shown.value(u"cited"_s).toList(), QVariantList{2});
    EXPECT_TRUE(shown.value(u"answerMarkdown"_s).toString().contains(u"[2](larder-cite://2)"_s));

    QSignalSpy opened(&model, &AskModel::citationOpened);
    EXPECT_TRUE(model.openLink(turn.id, u"larder-cite://2"_s));
    EXPECT_TRUE(model.openLink(turn.id, u"larder-cite://7"_s));
    ASSERT_EQ(opened.size(), 1);
    EXPECT_EQ(opened.first().first().value<Citation>(), turn.citations.value(2));
}

TEST_F(ModelTest, AFailureKeepsWhatStreamedIn)
{
    FakeReply cut = FakeReply::events({FakeReply::messageStart(), FakeReply::textBlock(0, {u"Partial"_s}).at(0),
                                       FakeReply::textBlock(0, {u"Partial"_s}).at(1)});
    cut.cutAfterChunks = true;
    server.enqueue(cut);
    model.send(u"Deposit?"_s);
    ASSERT_TRUE(settled());
    EXPECT_EQ(model.turns().first().answer, u"Partial"_s);
    EXPECT_TRUE(model.turns().first().error);
    EXPECT_TRUE(agent->history().isEmpty());
}

TEST_F(ModelTest, StopAndNewChatWaitForTheRunBeforeThem)
{
    server.enqueue(stalled());
    model.send(u"First?"_s);
    ASSERT_TRUE(waitUntil([&] { return server.requestCount() == 1; }));
    model.stop();
    EXPECT_FALSE(model.isBusy());
    EXPECT_TRUE(model.turns().first().done);
    EXPECT_TRUE(model.turns().first().answer.isEmpty());

    // The next question goes at once, once the stopped run has let go.
    server.enqueue(FakeReply::streamedMessage({u"Second answer."_s}));
    model.send(u"Second?"_s);
    ASSERT_TRUE(settled());
    EXPECT_EQ(model.turns().last().answer, u"Second answer."_s);
    EXPECT_EQ(agent->history().size(), 2);

    server.enqueue(stalled());
    model.send(u"Third?"_s);
    ASSERT_TRUE(waitUntil([&] { return server.requestCount() == 3; }));
    model.newChat();
    EXPECT_TRUE(model.turns().isEmpty());
    EXPECT_FALSE(model.isBusy());
    server.enqueue(FakeReply::streamedMessage({u"Fresh."_s}));
    model.send(u"Fourth?"_s);
    ASSERT_TRUE(settled());
    // The reset ran between the runs: only the fourth question is left.
    EXPECT_EQ(model.turns().size(), 1);
    EXPECT_EQ(agent->history().size(), 2);
    EXPECT_EQ(server.requests().last().json()[u"messages"_s].value().arrayItems().size(), 1);
}
