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
    ASSERT_TRUE(message.stopDetails);
    EXPECT_TRUE(message.stopDetails->isNull());
    EXPECT_FALSE(message.usage);
}

TEST(ClaudeMessage, TextAndToolUsesFollowContentOrder)
{
    ClaudeMessage message;
    message.content = blocks(R"([
        {"type":"text","text":"A"},
        {"type":"tool_use","id":"1","name":"find_files"},
        {"type":"text","text":5},
        {"type":"tool_use","id":"2","name":"get_meeting","input":"{bad"},
        {"type":"tool_use","name":"no_id","input":{}},
        {"type":"text","text":"B"},
        {"type":"tool_use","id":"3","name":"search_library","input":{"q":"x"}}
    ])");
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
    ClaudeMessage message;
    message.content = blocks(R"([{"type":"thinking","thinking":"t"},{"type":"tool_use","id":"1","name":"a"},
        {"type":"text","text":"A"},{"type":"fallback"},{"type":"text","text":"B"},{"type":"tool_use","id":"2","name":"b"}])");
    EXPECT_EQ(message.replayContent(),
              blocks(R"([{"type":"text","text":"A"},{"type":"text","text":"B"},{"type":"tool_use","id":"2","name":"b"}])"));

    message.content = blocks(R"([{"type":"fallback"},{"type":"text","text":"A"},{"type":"fallback"},{"type":"thinking"}])");
    EXPECT_EQ(message.replayContent(), blocks(R"([{"type":"text","text":"A"},{"type":"thinking"}])"));

    message.content = blocks(R"([{"type":"thinking"},{"type":"text","text":"A"}])");
    EXPECT_EQ(message.replayContent(), message.content);
}

TEST(ClaudeError, TextsFollowTheFirstMatchingRule)
{
    const QString credits = QStringLiteral("Your Claude Console organization is out of credits. Claim your plan's "
                                           "monthly credits in claude.ai → Settings → Billing.");
    const struct
    {
        ClaudeError error;
        QString text;
    } cases[] = {
        {ClaudeError::http(529, QStringLiteral("billing_error"), QStringLiteral("x")), credits},
        {ClaudeError::http(400, std::nullopt, QStringLiteral("Your CREDIT Balance is too low")), credits},
        {ClaudeError::http(529, std::nullopt, QStringLiteral("x")), QStringLiteral("Claude is overloaded right now. Try again shortly.")},
        {ClaudeError::http(429, std::nullopt, QStringLiteral("x")), QStringLiteral("Claude is rate limiting requests. Try again in a moment.")},
        {ClaudeError::http(401, std::nullopt, QStringLiteral("x")), QStringLiteral("Claude rejected the API key. Check it in Settings.")},
        {ClaudeError::http(404, std::nullopt, QStringLiteral("nope")), QStringLiteral("Claude error 404: nope")},
        {ClaudeError::refusal(std::nullopt), QStringLiteral("Claude declined this request.")},
        {ClaudeError::refusal(QStringLiteral("cyber")), QStringLiteral("Claude declined this request (cyber).")},
        {ClaudeError::invalidResponse(QStringLiteral("odd")), QStringLiteral("Unexpected response from Claude: odd")},
        {ClaudeError::network(QStringLiteral("down")), QStringLiteral("Couldn't reach Claude: down")},
        {ClaudeError::missingAPIKey(), QStringLiteral("Add your Claude API key in Settings to use AI features.")},
        {ClaudeError::truncated(), QStringLiteral("Claude's answer was cut off. Try a shorter request.")},
    };
    for (const auto &c : cases)
        EXPECT_EQ(c.error.description(), c.text);
}

TEST(ClaudeError, OnlyTransientFailuresAreRetried)
{
    for (int status : {408, 409, 429, 500, 502, 503, 504, 529})
        EXPECT_TRUE(ClaudeError::http(status, std::nullopt, {}).isRetryable()) << status;
    for (int status : {400, 401, 403, 404, 413, 501})
        EXPECT_FALSE(ClaudeError::http(status, std::nullopt, {}).isRetryable()) << status;
    EXPECT_TRUE(ClaudeError::network(QStringLiteral("x")).isRetryable());
    EXPECT_FALSE(ClaudeError::invalidResponse(QStringLiteral("x")).isRetryable());
    EXPECT_FALSE(ClaudeError::missingAPIKey().isRetryable());
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
        {[](MessageRequest &) {}, ClaudeClient::Delivery::whole,
         R"({"max_tokens":4000,"messages":[{"content":"hi","role":"user"}],"model":"claude-haiku-5-5"})"},
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

TEST(ClaudeClient, SetsTheBetaHeaderOnlyForFallbackModels)
{
    const ClaudeClient client([] { return QStringLiteral("sk-test"); });
    MessageRequest request;
    request.maxTokens = 10;
    for (const auto &[model, beta] : std::initializer_list<std::pair<const char *, const char *>>{
             {"claude-opus-5", "server-side-fallback-2026-07-01"},
             {"claude-fable-5-2", "server-side-fallback-2026-07-01"},
             {"claude-haiku-5-5", nullptr},
             {"my-claude-opus-5", nullptr}}) {
        request.model = QString::fromUtf8(model);
        const HTTPRequest http = client.messagesRequest(request, ClaudeClient::Delivery::whole);
        QByteArray found;
        for (const auto &[name, value] : http.headers) {
            if (name == "anthropic-beta")
                found = value;
        }
        EXPECT_EQ(found, QByteArray(beta)) << model;
        EXPECT_EQ(http.url, QByteArray("https://api.anthropic.com/v1/messages"));
    }
}

TEST(ClaudeClient, BacksOffExponentiallyWithBoundedJitter)
{
    const ClaudeClient client({});
    EXPECT_DOUBLE_EQ(client.retryDelay(0, 0.0), 1.2);
    EXPECT_DOUBLE_EQ(client.retryDelay(0, 0.999), 1.2 + 0.999 * 0.4);
    EXPECT_DOUBLE_EQ(client.retryDelay(1, 0.0), 2.4);
    EXPECT_DOUBLE_EQ(client.retryDelay(1, 1.0), 2.8);
}

TEST(HTTPStatusPhrase, KnownStatusesAndClassesOfUnknownOnes)
{
    EXPECT_EQ(httpStatusPhrase(500), QStringLiteral("internal server error"));
    EXPECT_EQ(httpStatusPhrase(429), QStringLiteral("too many requests"));
    EXPECT_EQ(httpStatusPhrase(529), QStringLiteral("server error"));
    EXPECT_EQ(httpStatusPhrase(499), QStringLiteral("client error"));
}
