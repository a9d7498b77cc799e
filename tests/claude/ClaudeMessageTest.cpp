// Messages as read from the API and requests as written to it, without a server.
#include "claude/ClaudeClient.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

QList<JSONValue> blocks(const QByteArray &json)
{
    return JSONValue::parse(json).arrayItems();
}

} // namespace

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
        message.content = blocks(content);
        EXPECT_EQ(message.replayContent(), blocks(replayed)) << content;
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
