// Messages as read from the API and requests as written to it, without a server.
#include "claude/ClaudeClient.h"

#include <gtest/gtest.h>

namespace {

QList<JSONValue> blocks(const QByteArray &json)
{
    return JSONValue::parse(json).arrayItems();
}

} // namespace

TEST(ClaudeMessage, ReadsFieldsLeniently)
{
    const ClaudeMessage message = ClaudeMessage::fromJSON(
        JSONValue::parse(R"({"id":5,"model":"m","content":{"not":"array"},"stop_reason":7,"stop_details":null})"));
    EXPECT_TRUE(message.id.isEmpty());
    EXPECT_EQ(message.model, QStringLiteral("m"));
    EXPECT_TRUE(message.content.isEmpty());
    EXPECT_FALSE(message.stopReason);
    EXPECT_EQ(message.stopDetails, JSONValue(nullptr));
    EXPECT_FALSE(message.usage);
}

TEST(ClaudeMessage, TextAndToolUsesFollowContentOrder)
{
    ClaudeMessage message;
    message.content = blocks(R"([{"type":"text","text":"A"}, {"type":"tool_use","id":"1","name":"find_files"},
        {"type":"text","text":5}, {"type":"tool_use","id":"2","name":"get_meeting","input":"{bad"},
        {"type":"tool_use","name":"no_id","input":{}}, {"type":"text","text":"B"},
        {"type":"tool_use","id":"3","name":"search_library","input":{"q":"x"}}])");
    EXPECT_EQ(message.text(), QStringLiteral("AB"));
    const QList<ToolUse> expected{
        {QStringLiteral("1"), QStringLiteral("find_files"), JSONValue(JSONValue::Object()), true},
        {QStringLiteral("2"), QStringLiteral("get_meeting"), JSONValue("{bad"), false},
        {QStringLiteral("3"), QStringLiteral("search_library"), JSONValue::object({{QStringLiteral("q"), "x"}}), true},
    };
    EXPECT_EQ(message.toolUses(), expected);
}

TEST(ClaudeMessage, ReplayDropsWhatPrecedesTheLastFallbackExceptText)
{
    const struct
    {
        const char *content;
        const char *replayed;
    } cases[] = {
        {R"([{"type":"thinking","thinking":"t"},{"type":"tool_use","id":"1","name":"a"},{"type":"text","text":"A"},
             {"type":"fallback"},{"type":"text","text":"B"},{"type":"tool_use","id":"2","name":"b"}])",
         R"([{"type":"text","text":"A"},{"type":"text","text":"B"},{"type":"tool_use","id":"2","name":"b"}])"},
        {R"([{"type":"fallback"},{"type":"text","text":"A"},{"type":"fallback"},{"type":"thinking"}])",
         R"([{"type":"text","text":"A"},{"type":"thinking"}])"},
        {R"([{"type":"thinking"},{"type":"text","text":"A"}])", R"([{"type":"thinking"},{"type":"text","text":"A"}])"},
    };
    for (const auto &c : cases) {
        ClaudeMessage message;
        message.content = blocks(c.content);
        EXPECT_EQ(message.replayContent(), blocks(c.replayed)) << c.content;
    }
}

TEST(ClaudeClient, BuildsTheBodyFromTheRequest)
{
    MessageRequest request;
    request.model = QStringLiteral("claude-haiku-5-5");
    request.maxTokens = 4000;
    request.messages = {userMessage(QStringLiteral("hi"))};

    const struct
    {
        std::function<void(MessageRequest &)> change;
        ClaudeClient::Delivery delivery;
        const char *body;
    } cases[] = {
        // Server-side fallback is for the models whose names start so, not for any that mention them.
        {[](MessageRequest &r) { r.model = QStringLiteral("my-claude-opus-5"); }, ClaudeClient::Delivery::whole,
         R"({"max_tokens":4000,"messages":[{"content":"hi","role":"user"}],"model":"my-claude-opus-5"})"},
        {[](MessageRequest &r) { r.system = QString(); }, ClaudeClient::Delivery::streamed,
         R"({"max_tokens":4000,"messages":[{"content":"hi","role":"user"}],"model":"claude-haiku-5-5","stream":true,"system":""})"},
        {[](MessageRequest &r) {
             r.system = QStringLiteral("Be brief.");
             r.cacheSystemPrompt = true;
             r.effort = QStringLiteral("medium");
             r.tools = {JSONValue::object({{QStringLiteral("name"), "find_files"}})};
         },
         ClaudeClient::Delivery::whole,
         R"({"max_tokens":4000,"messages":[{"content":"hi","role":"user"}],"model":"claude-haiku-5-5","output_config":{"effort":"medium"},)"
         R"("system":[{"cache_control":{"type":"ephemeral"},"text":"Be brief.","type":"text"}],"tools":[{"name":"find_files"}]})"},
        {[](MessageRequest &r) {
             r.model = QStringLiteral("claude-opus-5-1");
             r.outputSchema = JSONValue::object({{QStringLiteral("type"), "object"}});
             r.thinkingDisplay = QStringLiteral("summarized");
         },
         ClaudeClient::Delivery::whole,
         R"({"fallbacks":"default","max_tokens":4000,"messages":[{"content":"hi","role":"user"}],"model":"claude-opus-5-1",)"
         R"("output_config":{"format":{"schema":{"type":"object"},"type":"json_schema"}},"thinking":{"display":"summarized","type":"adaptive"}})"},
    };
    for (const auto &c : cases) {
        MessageRequest changed = request;
        c.change(changed);
        EXPECT_EQ(ClaudeClient::requestBody(changed, c.delivery).serialized(), QByteArray(c.body));
    }
}

TEST(ClaudeClient, BacksOffExponentiallyWithBoundedJitter)
{
    const ClaudeClient client({});
    EXPECT_DOUBLE_EQ(client.retryDelay(0, 0.0), 1.2);
    EXPECT_DOUBLE_EQ(client.retryDelay(0, 0.999), 1.2 + 0.999 * 0.4);
    EXPECT_DOUBLE_EQ(client.retryDelay(1, 1.0), 2.8);
}
