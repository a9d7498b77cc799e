#include "claude/MessageAccumulator.h"

#include <gtest/gtest.h>

namespace {

struct Folded
{
    ClaudeMessage message;
    QList<StreamUpdate> updates;
};

// Runs event texts through the framing and the fold, as the client does.
Folded fold(const QList<QByteArray> &lines)
{
    MessageAccumulator accumulator;
    Folded folded;
    for (const QByteArray &line : lines) {
        if (const std::optional<JSONValue> event = MessageAccumulator::eventFromLine(line)) {
            if (std::optional<StreamUpdate> update = accumulator.apply(*event))
                folded.updates.append(*update);
        }
    }
    folded.message = accumulator.finish();
    return folded;
}

QByteArray data(const QByteArray &json)
{
    return "data: " + json;
}

} // namespace

TEST(MessageAccumulator, FoldsAStreamIntoTheMessageAPlainCallWouldReturn)
{
    const Folded folded = fold({
        "event: message_start",
        data(R"({"type":"message_start","message":{"id":"msg_7","model":"m","content":[{"type":"text","text":"ignored"}],"usage":{"input_tokens":12,"output_tokens":1}}})"),
        "",
        ": a comment line",
        data(R"({"type":"content_block_start","index":2,"content_block":{"type":"tool_use","id":"tu_1","name":"search_library","input":{}}})"),
        data(R"({"type":"content_block_start","index":0,"content_block":{"type":"thinking","thinking":""}})"),
        data(R"({"type":"content_block_delta","index":0,"delta":{"type":"thinking_delta","thinking":"Let me "}})"),
        data(R"({"type":"content_block_delta","index":0,"delta":{"type":"thinking_delta","thinking":"think."}})"),
        data(R"({"type":"content_block_delta","index":0,"delta":{"type":"signature_delta","signature":"ab"}})"),
        data(R"({"type":"content_block_delta","index":0,"delta":{"type":"signature_delta","signature":"cd"}})"),
        data(R"({"type":"content_block_start","index":1,"content_block":{"type":"text","text":""}})"),
        data(R"({"type":"content_block_delta","index":1,"delta":{"type":"text_delta","text":"Hello"}})"),
        "data:{\"type\":\"content_block_delta\",\"index\":1,\"delta\":{\"type\":\"text_delta\",\"text\":\" world\"}}",
        data(R"({"type":"content_block_delta","index":1,"delta":{"type":"text_delta","text":""}})"),
        data(R"({"type":"content_block_delta","index":1,"delta":{"type":"citations_delta","citation":{"cited_text":"x"}}})"),
        data(R"({"type":"content_block_delta","index":2,"delta":{"type":"input_json_delta","partial_json":"{\"query\": "}})"),
        data(R"({"type":"content_block_delta","index":2,"delta":{"type":"input_json_delta","partial_json":"\"lease/2024\"}\n"}})"),
        data(R"({"type":"content_block_start","index":3,"content_block":{"type":"redacted_thinking","data":"EqQB"}})"),
        data(R"({"type":"content_block_delta","index":3,"delta":{"type":"thinking_delta","thinking":"never merged"}})"),
        data(R"({"type":"content_block_start","index":4,"content_block":{"type":"server_gizmo","payload":[1,2]}})"),
        data(R"({"type":"message_delta","delta":{"stop_reason":"tool_use","stop_details":{"k":1}},"usage":{"output_tokens":42}})"),
        data(R"({"type":"message_delta","delta":{"stop_details":null}})"),
        data(R"({"type":"message_stop"})"),
    });

    const ClaudeMessage &message = folded.message;
    EXPECT_EQ(message.id, QStringLiteral("msg_7"));
    EXPECT_EQ(message.model, QStringLiteral("m"));
    EXPECT_EQ(message.stopReason, QStringLiteral("tool_use"));
    EXPECT_EQ(message.stopDetails, JSONValue::parse(R"({"k":1})"));
    EXPECT_EQ(message.usage, JSONValue::parse(R"({"input_tokens":12,"output_tokens":42})"));
    EXPECT_EQ(message.content, JSONValue::parse(R"([
        {"type":"thinking","thinking":"Let me think.","signature":"abcd"},
        {"type":"text","text":"Hello world","citations":[{"cited_text":"x"}]},
        {"type":"tool_use","id":"tu_1","name":"search_library","input":{"query":"lease/2024"}},
        {"type":"redacted_thinking","data":"EqQB"}, {"type":"server_gizmo","payload":[1,2]}])").arrayItems());
    const QList<StreamUpdate> updates{StreamUpdate::toolUse(QStringLiteral("search_library")), StreamUpdate::thinking(),
                                      StreamUpdate::textDelta(QStringLiteral("Hello")),
                                      StreamUpdate::textDelta(QStringLiteral(" world")), StreamUpdate::thinking()};
    EXPECT_EQ(folded.updates, updates);
}

TEST(MessageAccumulator, ToolInputFallsBackToTheStartOrToRawText)
{
    const struct
    {
        QList<QByteArray> deltas;
        const char *input;
    } cases[] = {
        {{}, R"({"preset":true})"},
        {{"  \n"}, R"({"preset":true})"},
        {{"{\"query\":\"a"}, R"("{\"query\":\"a")"},
        {{"[1,", "2]"}, "[1,2]"},
    };
    for (const auto &c : cases) {
        QList<QByteArray> lines{
            data(R"({"type":"content_block_start","index":0,"content_block":{"type":"tool_use","id":"t","name":"n","input":{"preset":true}}})")};
        for (const QByteArray &piece : c.deltas) {
            const JSONValue delta = JSONValue::object({{QStringLiteral("type"), "input_json_delta"},
                                                       {QStringLiteral("partial_json"), QString::fromUtf8(piece)}});
            lines.append(data(R"({"type":"content_block_delta","index":0,"delta":)" + delta.serialized() + "}"));
        }
        const ClaudeMessage message = fold(lines).message;
        ASSERT_EQ(message.content.size(), 1);
        EXPECT_EQ(message.content.first()["input"]->serialized(), QByteArray(c.input));
        const QList<ToolUse> uses = message.toolUses();
        ASSERT_EQ(uses.size(), 1);
        EXPECT_EQ(uses.first().isValid, message.content.first()["input"]->isObject());
    }
}

TEST(MessageAccumulator, SkipsWhatItCannotUse)
{
    const Folded folded = fold({
        "data: {not json",
        "data:",
        "data:    ",
        "event: content_block_delta",
        "dat: {\"type\":\"message_start\"}",
        data("42"),
        data("{}"),
        data(R"({"type":7})"),
        data(R"({"type":"content_block_delta","index":5,"delta":{"type":"text_delta","text":"orphan"}})"),
        data(R"({"type":"content_block_start","content_block":{"type":"text"}})"),
        data(R"({"type":"content_block_start","index":"0","content_block":{"type":"text"}})"),
        data(R"({"type":"message_delta","delta":{"stop_reason":3}})"),
        data(R"({"type":"ping"})"),
        data(R"({"type":"message_start","message":{"id":"a","usage":"odd"}})"),
        data(R"({"type":"message_delta","usage":{"output_tokens":3}})"),
    });
    EXPECT_TRUE(folded.updates.isEmpty());
    EXPECT_TRUE(folded.message.content.isEmpty());
    EXPECT_FALSE(folded.message.stopReason);
    EXPECT_EQ(folded.message.id, QStringLiteral("a"));
    // Output tokens join a usage that was missing.
    EXPECT_EQ(folded.message.usage, JSONValue::parse(R"({"output_tokens":3})"));
}

TEST(LineSplitter, JoinsLinesAcrossChunksAndDropsCarriageReturns)
{
    LineSplitter splitter;
    QList<QByteArray> lines;
    const auto collect = [&](QByteArrayView line) { lines.append(line.toByteArray()); };
    splitter.feed("data: {\"a\"", collect);
    splitter.feed(":1}\r\n\r\nevent: x\nda", collect);
    splitter.feed("ta: tail", collect);
    splitter.finish(collect);
    EXPECT_EQ(lines, QList<QByteArray>({"data: {\"a\":1}", "", "event: x", "data: tail"}));

    // A line past the limit is dropped whole, and the next one reads normally.
    LineSplitter small(8);
    lines.clear();
    small.feed("data: 0123", collect);
    small.feed("456789 still the same line", collect);
    small.feed(" and more\nok\n", collect);
    small.finish(collect);
    EXPECT_EQ(lines, QList<QByteArray>({"ok"}));
}
