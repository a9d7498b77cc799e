// The Ask tool loop against the fake Messages API server: tools, numbered
// sources, and runs that fail leaving the conversation as it was.
#include "AskLibrary.h"

#include "ask/AskAgent.h"
#include "support/FakeClaudeServer.h"

#include <gtest/gtest.h>

namespace {

struct Call
{
    QString name;
    QString input; // JSON text as Claude streams it
};

// One assistant message: some text, then the tool calls.
FakeReply toolCalls(const QList<Call> &calls, const QByteArray &stopReason = "tool_use")
{
    QList<QByteArray> events{FakeReply::messageStart()};
    events += FakeReply::textBlock(0, {u"Let me look."_s});
    for (qsizetype i = 0; i < calls.size(); ++i)
        events += FakeReply::toolUseBlock(int(i + 1), u"tu_%1"_s.arg(i), calls.at(i).name, {calls.at(i).input});
    events += {FakeReply::messageDelta(stopReason, 9), FakeReply::messageStop()};
    return FakeReply::events(events);
}

// The text of the tool results of a recorded request's last message.
QStringList toolResults(const RecordedRequest &request)
{
    QStringList results;
    const JSONValue last = request.json()[u"messages"_s].value().arrayItems().last();
    for (const JSONValue &block : last[u"content"_s].value().arrayItems())
        results.append((block[u"is_error"_s].boolValue().value() ? u"error: "_s : QString())
                       + block[u"content"_s].stringValue().value_or(u"?"_s));
    return results;
}

struct AgentTest : ::testing::Test
{
    AskLibrary library;
    FakeClaudeServer server;
    ClaudeClient client{[] { return std::optional<QString>(u"sk-test"_s); }, server.clientOptions()};
    QDateTime now = QDateTime(QDate(2026, 11, 23), QTime(23, 59));
    AskAgent agent{client, [] { return u"claude-test"_s; }, library.store, library.meetings, [this] { return now; }};
    QList<AskEvent> events;

    void ask(const QString &question)
    {
        events.clear();
        agent.run(question, [this](const AskEvent &event) { events.append(event); }, CancellationToken());
    }
    QStringList eventTexts() const
    {
        QStringList texts;
        for (const AskEvent &event : events)
            texts.append(event.type == AskEvent::Type::citation ? u"S%1 %2"_s.arg(event.number).arg(event.citation.title)
                                                                : event.text);
        return texts;
    }
};

} // namespace

TEST_F(AgentTest, RunsEachToolAndNumbersEverySourceOnce)
{
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
    server.enqueue(toolCalls({{u"search_library"_s, uR"({"query":"deposit","scope":"files"})"_s},
                              {u"find_files"_s, uR"({"query":"pdfs"})"_s}}));
    server.enqueue(toolCalls({{u"get_meeting"_s, uR"({"meeting_id":"m1"})"_s},
                              {u"search_library"_s, uR"({"query":"lease","scope":"bogus"})"_s}}));
    server.enqueue(FakeReply::streamedMessage({u"Due in May "_s, u"[S1][S3]."_s}));
    ask(u"When is the deposit due?"_s);

    EXPECT_EQ(eventTexts(), (QStringList{u"Let me look."_s, u"Searched for “deposit” · Listed pdfs"_s, u"S1 lease.pdf"_s,
                                         u"Let me look."_s, u"Read meeting notes · Searched for “lease”"_s,
                                         u"S2 Untitled meeting"_s, u"Due in May "_s, u"[S1][S3]."_s, QString()}));
    EXPECT_EQ(events.last().type, AskEvent::Type::done);
    ASSERT_EQ(server.requestCount(), 3);
    const QList<RecordedRequest> requests = server.requests();
    EXPECT_EQ(toolResults(requests.at(1)).join(u"\n--\n"_s).toStdString(),
              "[S1] File: lease.pdf — /library · Mar 3, 2026\nthe lease deposit is due\n--\n"
              "[S1] lease.pdf — /library — Document, 1 KB, modified Mar 3, 2026");
    const QStringList second = toolResults(requests.at(2));
    EXPECT_TRUE(second.value(0).startsWith(u"[S2] Untitled meeting\n\nNotes:\ndeposit back in May\n\n"
                                           "Transcript:\n[00:01] Them: the deposit, yes"_s)) << qPrintable(second.value(0));
    EXPECT_TRUE(second.value(1).startsWith(u"[S1] File: lease.pdf"_s)) << qPrintable(second.value(1));

    const JSONValue body = requests.first().json();
    EXPECT_EQ(body[u"tools"_s].value().arrayItems(), AskAgent::toolDefinitions());
    const QString system = requests.first().body.contains("Monday, November 23, 2026") ? u"dated"_s : u"undated"_s;
    EXPECT_EQ(system, u"dated"_s);
    EXPECT_TRUE(requests.first().body.contains("an assistant on the person's computer"));
    EXPECT_EQ(agent.history().size(), 6);

    // The next question of the conversation keeps the first one's date and
    // sends the turns before it.
    now = now.addDays(1);
    server.enqueue(FakeReply::streamedMessage({u"Yes."_s}));
    ask(u"Sure?"_s);
    const JSONValue next = server.requests().last().json();
    EXPECT_EQ(next[u"system"_s].value(), body[u"system"_s].value());
    EXPECT_EQ(next[u"messages"_s].value().arrayItems().size(), 7);
}

TEST_F(AgentTest, BadToolCallsGoBackToClaudeAsErrors)
{
    server.enqueue(toolCalls({{u"search_library"_s, u"[1, 2]"_s},
                              {u"search_library"_s, uR"({"scope":"all"})"_s},
                              {u"find_files"_s, uR"({"query":7})"_s},
                              {u"get_meeting"_s, uR"({"meeting_id":"nope"})"_s},
                              {u"frobnicate"_s, u"{}"_s},
                              {u"search_library"_s, uR"({"query":"zebra","scope":"all"})"_s}}));
    server.enqueue(FakeReply::streamedMessage({u"Nothing found."_s}));
    ask(u"Zebras?"_s);
    ASSERT_EQ(server.requestCount(), 2);
    EXPECT_EQ(toolResults(server.requests().at(1)),
              (QStringList{u"error: The tool input wasn't valid JSON. Call the tool again with a JSON object."_s,
                           u"error: query is required"_s, u"error: query is required"_s,
                           u"error: No meeting with that id."_s, u"error: Unknown tool frobnicate"_s,
                           u"No matches for “zebra”."_s}));
    EXPECT_EQ(events.last().type, AskEvent::Type::done);
}

TEST_F(AgentTest, TranscriptsPastTheLimitReachClaudeCut)
{
    const QString marker = u"\n[transcript continues; ask about a specific topic]"_s;
    const QString line = u"[00:00] Them: "_s;
    for (int length : {AskAgent::transcriptLimit, AskAgent::transcriptLimit + 1}) {
        const QString id = QString::number(length);
        library.meetings.insert(id, now, std::nullopt);
        library.meetings.insertSegment({0, id, Speaker::them, 0, 1, QString(length - line.size(), u'w')});
    }
    server.enqueue(toolCalls({{u"get_meeting"_s, uR"({"meeting_id":"40000"})"_s},
                              {u"get_meeting"_s, uR"({"meeting_id":"40001"})"_s}}));
    server.enqueue(FakeReply::streamedMessage({u"Long."_s}));
    ask(u"What was said?"_s);
    const QStringList results = toolResults(server.requests().at(1));
    ASSERT_EQ(results.size(), 2);
    EXPECT_TRUE(results.at(0).endsWith(u"w"_s));
    EXPECT_TRUE(results.at(1).endsWith(u"w"_s + marker));
    EXPECT_EQ(results.at(0).size() + marker.size(), results.at(1).size());
}

TEST(AskAgent, AFailedRunLeavesTheConversationAsItWas)
{
    AskLibrary library;
    FakeReply cut = FakeReply::events({FakeReply::messageStart(), FakeReply::textBlock(0, {u"Half"_s}).at(0),
                                       FakeReply::textBlock(0, {u"Half"_s}).at(1)});
    cut.cutAfterChunks = true;
    const FakeReply search = toolCalls({{u"search_library"_s, uR"({"query":"deposit","scope":"all"})"_s}});
    const struct { const char *name; QList<FakeReply> replies; QString message; } cases[] = {
        {"stream cut after a lookup", {search, cut}, QString()},
        {"refusal", {search, FakeReply::streamedMessage({u"No"_s}, "refusal")}, QString()},
        {"cut off by max_tokens", {FakeReply::streamedMessage({u"Long"_s}, "max_tokens")}, QString()},
        {"HTTP error", {FakeReply::error(400, "invalid_request_error", u"bad"_s)}, u"Claude error 400: bad"_s},
        {"step limit", QList<FakeReply>(AskAgent::maxSteps, search),
         u"Stopped after 8 lookups without a final answer."_s},
    };
    for (const auto &c : cases) {
        FakeClaudeServer server;
        const ClaudeClient client([] { return std::optional<QString>(u"sk-test"_s); }, server.clientOptions());
        AskAgent agent(client, [] { return u"claude-test"_s; }, library.store, library.meetings);
        server.enqueue(FakeReply::streamedMessage({u"Hi."_s}));
        agent.run(u"Hello"_s, [](const AskEvent &) {}, CancellationToken());
        const QList<JSONValue> history = agent.history();
        ASSERT_EQ(history.size(), 2) << c.name;
        for (const FakeReply &reply : c.replies)
            server.enqueue(reply);
        QList<AskEvent> events;
        agent.run(u"Where is the deposit?"_s, [&](const AskEvent &event) { events.append(event); }, CancellationToken());
        ASSERT_FALSE(events.isEmpty()) << c.name;
        EXPECT_EQ(events.last().type, AskEvent::Type::failed) << c.name;
        if (!c.message.isEmpty()) {
            EXPECT_EQ(events.last().text, c.message) << c.name;
        }
        EXPECT_EQ(agent.history(), history) << c.name;
        EXPECT_TRUE(agent.citations().isEmpty()) << c.name;
        EXPECT_GE(server.requestCount(), 1 + int(c.replies.size())) << c.name;
    }
}
