// JSON at its edges, messages as read from the API and requests as written to
// it, without a server. Ordinary JSON bodies are checked byte for byte here and
// by the server tests, decoding by the structured answers.
#include "claude/ClaudeClient.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace Qt::StringLiterals;

TEST(ClaudeMessage, ReplayDropsWhatPrecedesTheLastFallbackExceptText)
{
    const std::pair<const char *, const char *> cases[] = {
        {R"([{"type":"thinking","thinking":"t"},{"type":"tool_use","id":"1","name":"a"},{"type":"text","text":"A"},
             {"type":"fallback"},{"type":"text","text":"B"},{"type":"tool_use","id":"2","name":"b"}])",
         R"([{"type":"text","text":"A"},{"type":"text","text":"B"},{"type":"tool_use","id":"2","name":"b"}])"},
        {R"([{"type":"fallback"},{"type":"text","text":"A"},{"type":"fallback"},{"type":"thinking"}])",
         R"([{"type":"text","text":"A"},{"type":"thinking"}])"},
    };
    for (const auto &[content, replayed] : cases) {
        ClaudeMessage message;
        message.content = JSONValue::parse(content).arrayItems();
        EXPECT_EQ(message.replayContent(), JSONValue::parse(replayed).arrayItems()) << content;
    }
}

TEST(ClaudeClient, BuildsTheBodyFromTheRequest)
{
    MessageRequest request;
    request.model = u"claude-haiku-5-5"_s;
    request.maxTokens = 4000;
    request.messages = {userMessage(u"hi"_s)};
    const QByteArray start = R"({"max_tokens":4000,"messages":[{"content":"hi","role":"user"}],)";
    using enum ClaudeClient::Delivery;
    const struct { std::function<void(MessageRequest &)> change; ClaudeClient::Delivery delivery; QByteArray body; } cases[] = {
        // Server-side fallback is for the models whose names start so, not for any that mention them.
        {[](auto &r) { r.model = u"my-claude-opus-5"_s; }, whole, start + R"("model":"my-claude-opus-5"})"},
        {[](auto &r) { r.system = QString(); }, streamed, start + R"("model":"claude-haiku-5-5","stream":true,"system":""})"},
        {[](auto &r) {
             r.system = u"Be brief."_s;
             r.cacheSystemPrompt = true;
             r.effort = u"medium"_s;
             r.tools = {JSONValue::object({{u"name"_s, "find_files"}})};
         },
         whole,
         start + R"("model":"claude-haiku-5-5","output_config":{"effort":"medium"},"system":[{"cache_control":)"
                 R"({"type":"ephemeral"},"text":"Be brief.","type":"text"}],"tools":[{"name":"find_files"}]})"},
        {[](auto &r) {
             r.model = u"claude-opus-5-1"_s;
             r.outputSchema = JSONValue::object({{u"type"_s, "object"}});
             r.thinkingDisplay = u"summarized"_s;
         },
         whole,
         R"({"fallbacks":"default",)" + start.mid(1) + R"("model":"claude-opus-5-1","output_config":{"format":{"schema":)"
         R"({"type":"object"},"type":"json_schema"}},"thinking":{"display":"summarized","type":"adaptive"}})"},
    };
    for (const auto &c : cases) {
        MessageRequest changed = request;
        c.change(changed);
        EXPECT_EQ(ClaudeClient::requestBody(changed, c.delivery).serialized(), c.body);
    }
}

TEST(JSONValue, ParsesEachLiteralToItsOwnCaseOrRefusesIt)
{
    EXPECT_EQ(JSONValue::parse(" \n [true,-2.5e3,\"1\",null,{\"a\":1}] "),
              JSONValue::array({true, -2500, "1", nullptr, JSONValue::object({{u"a"_s, 1.0}})}));
    EXPECT_FALSE(JSONValue::parse("1").boolValue());
    EXPECT_FALSE(JSONValue::parse("true").numberValue());
    EXPECT_TRUE(JSONValue(1) != JSONValue(true) && JSONValue("1") != JSONValue(1) && JSONValue::array({}) != JSONValue::Object());
    EXPECT_EQ(JSONValue::parse("\"héllo \\u00e9\"").stringValue(), u"héllo é"_s);
    for (const char *text : {"", "{", "[1,]", "1 2", "1],[2", "{\"a\" 1}", "nul", "\"open", "]["})
        EXPECT_THROW(JSONValue::parse(text), JSONError) << text;
}

TEST(JSONValue, WritesIntegralNumbersAsIntegersEscapesAndSortsKeys)
{
    // At 2^53 and beyond the double form is written; it has no fraction to show. Null: not expressible in JSON.
    const std::pair<JSONValue, const char *> cases[] = {
        {3.5, "3.5"}, {-9007199254740991.0, "-9007199254740991"}, {9007199254740992.0, "9007199254740992"},
        {1e300, "1e+300"}, {-1.5e-7, "-1.5e-07"}, {0.1, "0.1"}, {-0.0, "0"}, {std::nan(""), nullptr},
        {std::numeric_limits<double>::infinity(), nullptr}, {"q\"uote\\\n\t\x01/", R"("q\"uote\\\n\t\u0001/")"},
        {JSONValue::object({{u"é"_s, 1}, {u"B"_s, 2.25}}), R"({"B":2.25,"é":1})"},
        // Half a surrogate pair, as a "\u" escape may bring, goes back out the same way.
        {u"a"_s + QChar(0xDE00) + u"😀"_s + QChar(0xD83D), R"("a\ude00😀\ud83d")"},
    };
    for (const auto &[value, expected] : cases) {
        if (!expected) {
            EXPECT_THROW(JSONValue::array({1, value}).serialized(), JSONError);
            continue;
        }
        EXPECT_EQ(value.serialized(), QByteArray(expected));
        EXPECT_EQ(JSONValue::parse(expected), value) << expected;
    }
}
