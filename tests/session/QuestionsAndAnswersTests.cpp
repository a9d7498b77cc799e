// Hearing questions in a call and answering them from the library: the word
// rules of question spotting, and the live answerer on a library in memory
// with Claude played by the fake Messages API server.
#include "ask/AskLibrary.h"
#include "claude/ClaudeClient.h"
#include "session/LiveAnswerer.h"
#include "session/QuestionSpotting.h"
#include "support/FakeClaudeServer.h"

#include <gtest/gtest.h>

TEST(QuestionSpotting, CutsSentencesAfterEveryTerminator)
{
    const struct { QString text; QStringList sentences; } cases[] = {
        {u"Ready? Yes. Next"_s, {u"Ready?"_s, u"Yes."_s, u"Next"_s}},
        {u"Really?!"_s, {u"Really?"_s, u"!"_s}},
        {u"It cost 3.5 million.\n"_s, {u"It cost 3."_s, u"5 million."_s}},
        {u"..."_s, {u"."_s, u"."_s, u"."_s}},
        {u"  \n "_s, {}},
    };
    for (const auto &c : cases)
        EXPECT_EQ(QuestionSpotting::sentences(c.text), c.sentences) << c.text.toStdString();
}

TEST(QuestionSpotting, PassesQuestionsWithSomethingToLookUp)
{
    const struct { const char *sentence; bool question; } cases[] = {
        {"What did we pay for the lease?", true},
        {"What is it?", false}, // three words
        {"What is the price?", true},
        {"What's the plan for launch", true}, // an opener needs no mark
        {"What’s the plan for launch", true}, // a curly apostrophe cuts the word
        {"Do these numbers work", false},
        {"Do these numbers work?", true},
        {"Did the budget change", true}, // "the" is a subject word
        {"So the budget went up", false},
        {"The budget went up?", true},
        {"The budget went up? \n", false}, // a line break after the mark hides it
        {"Do you know what I think?", false}, // only grammar and weak words
        {"What do you think about this?", false},
        {"How are you doing today?", false},
        {"Is that okay with you?", false},
        {"You know what I mean?", false},
        {"The deal closes Friday, right?", false},
        {"The deal closes Friday, right", false},
        {"Can everyone see the numbers?", false},
        {"Should we add that okra dish?", false}, // phrases are plain substrings
        {"Who owns this?", false},
        {"Budget?", false},
        {"Where are the invoices from March", true},
    };
    for (const auto &c : cases)
        EXPECT_EQ(QuestionSpotting::isQuestion(QString::fromUtf8(c.sentence)), c.question) << c.sentence;
}

namespace {

FakeReply answerReply(const char *json) { return FakeReply::message(QString::fromUtf8(json)); }

struct AnswererTest : ::testing::Test
{
    AskLibrary library;
    FakeClaudeServer server;
    ClaudeClient client{[] { return std::optional<QString>(u"sk-test"_s); }, server.clientOptions()};
    LiveAnswerer answerer{client, u"claude-smart"_s, LibraryRetriever(library.store, library.meetings)};
};

} // namespace

// Silence is the normal outcome: only an answerable reply with words in it
// shows, and only with the sources that were among the excerpts.
TEST_F(AnswererTest, ShowsOnlyAnswersTheExcerptsSupport)
{
    // cited: places in the retrieved passages.
    const struct { QString question; const char *reply; std::optional<QString> answer; QList<int> cited; } cases[] = {
        {u"What is it that we do?"_s, nullptr, std::nullopt, {}},
        {u"When is the deposit due?"_s, R"({"answerable":true,"answer":" In May.\n","sources":[0,2,99,2]})",
         u"In May."_s, {1, 1}},
        {u"When is the deposit due?"_s, R"({"answerable":true,"answer":"Friday.","sources":[]})", u"Friday."_s, {}},
        {u"When is the deposit due?"_s, R"({"answerable":true,"answer":"  ","sources":[1]})", std::nullopt, {}},
        {u"When is the deposit due?"_s, R"({"answerable":false,"answer":"Maybe May.","sources":[1]})",
         std::nullopt, {}},
    };
    for (const auto &c : cases) {
        const QString name = c.question + QString::fromUtf8(c.reply ? c.reply : "");
        if (c.reply)
            server.enqueue(answerReply(c.reply));
        const int before = server.requestCount();
        // Asked from another meeting, so the notes of "m1" may answer.
        const QList<RetrievedPassage> passages = LibraryRetriever(library.store, library.meetings)
            .retrieve(c.question, {Citation::Kind::file, Citation::Kind::note, Citation::Kind::transcript},
                      u"running"_s, 6);
        const std::optional<LiveAnswer> answer = answerer.answer(c.question, u"running"_s);
        EXPECT_EQ(server.requestCount() - before, c.reply ? 1 : 0) << name.toStdString();
        EXPECT_EQ(answer ? std::optional(answer->answer) : std::nullopt, c.answer) << name.toStdString();
        QList<Citation> cited;
        for (int place : c.cited)
            cited.append(passages.value(place).citation);
        EXPECT_EQ(answer ? answer->citations : QList<Citation>(), cited) << name.toStdString();
        if (answer) {
            EXPECT_EQ(answer->meetingID, u"running"_s);
            EXPECT_EQ(answer->question, c.question);
        }
    }
}

// The running meeting never answers itself, a file gone from the library is
// never an excerpt, and the call is the cheap, unstreamed one.
TEST_F(AnswererTest, SendsExcerptsOfOtherSourcesInOneCheapCall)
{
    server.enqueue(answerReply(R"({"answerable":false,"answer":"","sources":[]})"));
    EXPECT_FALSE(answerer.answer(u"When is the deposit due?"_s, u"m1"_s));
    const JSONValue body = server.requests().value(0).json();
    const QString message = server.requests().value(0).firstMessageText();
    EXPECT_TRUE(message.startsWith(u"Question: When is the deposit due?\n\nExcerpts:\n[1] lease.pdf ("_s)) << qPrintable(message);
    EXPECT_FALSE(message.contains(u"the deposit, yes"_s) || message.contains(u"deposit back in May"_s));
    EXPECT_FALSE(message.contains(u"gone.pdf"_s) || message.contains(u"[2]"_s));
    EXPECT_EQ(body[u"max_tokens"_s].numberValue(), 4000);
    EXPECT_EQ(body[u"model"_s].stringValue(), u"claude-smart"_s);
    EXPECT_FALSE(body[u"stream"_s].boolValue().value_or(false));
}

TEST_F(AnswererTest, AnAnswerOutsideTheSchemaIsAnErrorNotAnAnswer)
{
    server.enqueue(answerReply(R"({"answerable":"yes","answer":"May","sources":[1]})"));
    try {
        answerer.answer(u"When is the deposit due?"_s, u"running"_s);
        FAIL() << "no error";
    } catch (const ClaudeError &error) {
        EXPECT_EQ(error.kind(), ClaudeError::Kind::invalidResponse);
        EXPECT_TRUE(error.description().contains(u"couldn't decode Response"_s)) << qPrintable(error.description());
    }
}
