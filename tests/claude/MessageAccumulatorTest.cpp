#include "claude/MessageAccumulator.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

// Runs the lines of an event stream through the framing and the fold, as the
// client does: the message, and the updates on the way.
std::pair<ClaudeMessage, QList<StreamUpdate>> fold(const QByteArray &stream)
{
    MessageAccumulator accumulator;
    QList<StreamUpdate> updates;
    for (const QByteArray &line : stream.split('\n')) {
        if (const std::optional<JSONValue> event = MessageAccumulator::eventFromLine(line)) {
            if (std::optional<StreamUpdate> update = accumulator.apply(*event))
                updates.append(*update);
        }
    }
    return {accumulator.finish(), updates};
}

} // namespace

// Tool input deltas replace the input the block started with, unless they are
// blank; input that does not parse stays as its text. Whatever cannot be used
// is skipped.
TEST(MessageAccumulator, FoldsAStreamIntoTheMessageAPlainCallWouldReturn)
{
    const auto [message, updates] = fold(R"(event: message_start
data: {"type":"message_start","message":{"id":"msg_7","model":"m","content":[{"type":"text","text":"ignored"}],"usage":{"input_tokens":12,"output_tokens":1}}}

: a comment line
data: {not json
data:
event: content_block_delta
data: {"type":7}
data: {"type":"ping"}
data: {"type":"content_block_delta","index":12,"delta":{"type":"text_delta","text":"orphan"}}
data: {"type":"content_block_start","content_block":{"type":"text"}}
data: {"type":"content_block_start","index":2,"content_block":{"type":"tool_use","id":"tu_1","name":"search_library","input":{}}}
data: {"type":"content_block_start","index":0,"content_block":{"type":"thinking","thinking":""}}
data: {"type":"content_block_delta","index":0,"delta":{"type":"thinking_delta","thinking":"Let me "}}
data: {"type":"content_block_delta","index":0,"delta":{"type":"thinking_delta","thinking":"think."}}
data: {"type":"content_block_delta","index":0,"delta":{"type":"signature_delta","signature":"ab"}}
data: {"type":"content_block_delta","index":0,"delta":{"type":"signature_delta","signature":"cd"}}
data: {"type":"content_block_start","index":1,"content_block":{"type":"text","text":""}}
data: {"type":"content_block_delta","index":1,"delta":{"type":"text_delta","text":"Hello"}}
data:{"type":"content_block_delta","index":1,"delta":{"type":"text_delta","text":" world"}}
data: {"type":"content_block_delta","index":1,"delta":{"type":"text_delta","text":""}}
data: {"type":"content_block_delta","index":1,"delta":{"type":"citations_delta","citation":{"cited_text":"x"}}}
data: {"type":"content_block_delta","index":2,"delta":{"type":"input_json_delta","partial_json":"{\"query\": "}}
data: {"type":"content_block_delta","index":2,"delta":{"type":"input_json_delta","partial_json":"\"lease/2024\"}\n"}}
data: {"type":"content_block_start","index":3,"content_block":{"type":"redacted_thinking","data":"EqQB"}}
data: {"type":"content_block_delta","index":3,"delta":{"type":"thinking_delta","thinking":"never merged"}}
data: {"type":"content_block_start","index":4,"content_block":{"type":"server_gizmo","payload":[1,2]}}
data: {"type":"content_block_start","index":5,"content_block":{"type":"tool_use","id":"t5","name":"n","input":{"preset":5}}}
data: {"type":"content_block_start","index":6,"content_block":{"type":"tool_use","id":"t6","name":"n","input":{"preset":6}}}
data: {"type":"content_block_delta","index":6,"delta":{"type":"input_json_delta","partial_json":"  \n"}}
data: {"type":"content_block_start","index":7,"content_block":{"type":"tool_use","id":"t7","name":"n","input":{}}}
data: {"type":"content_block_delta","index":7,"delta":{"type":"input_json_delta","partial_json":"{\"query\":\"a"}}
data: {"type":"content_block_start","index":8,"content_block":{"type":"tool_use","id":"t8","name":"n","input":{}}}
data: {"type":"content_block_delta","index":8,"delta":{"type":"input_json_delta","partial_json":"[1,"}}
data: {"type":"content_block_delta","index":8,"delta":{"type":"input_json_delta","partial_json":"2]"}}
data: {"type":"content_block_start","index":"0","content_block":{"type":"text"}}
data: {"type":"content_block_start","index":1e19,"content_block":{"type":"text"}}
data: {"type":"message_delta","delta":{"stop_reason":3}}
data: {"type":"message_delta","delta":{"stop_reason":"tool_use","stop_details":{"k":1}},"usage":{"output_tokens":42}}
data: {"type":"message_delta","delta":{"stop_details":null}}
data: {"type":"message_stop"})");

    EXPECT_EQ(message.id + message.model + message.stopReason.value_or(QString()), u"msg_7mtool_use"_s);
    EXPECT_EQ(message.stopDetails, JSONValue::parse(R"({"k":1})"));
    EXPECT_EQ(message.usage, JSONValue::parse(R"({"input_tokens":12,"output_tokens":42})"));
    EXPECT_EQ(message.content, JSONValue::parse(R"([
        {"type":"thinking","thinking":"Let me think.","signature":"abcd"},
        {"type":"text","text":"Hello world","citations":[{"cited_text":"x"}]},
        {"type":"tool_use","id":"tu_1","name":"search_library","input":{"query":"lease/2024"}},
        {"type":"redacted_thinking","data":"EqQB"}, {"type":"server_gizmo","payload":[1,2]},
        {"type":"tool_use","id":"t5","name":"n","input":{"preset":5}}, {"type":"tool_use","id":"t6","name":"n","input":{"preset":6}},
        {"type":"tool_use","id":"t7","name":"n","input":"{\"query\":\"a"}, {"type":"tool_use","id":"t8","name":"n","input":[1,2]}])")
                                   .arrayItems());
    const StreamUpdate toolN = StreamUpdate::toolUse(u"n"_s);
    const QList<StreamUpdate> expected{StreamUpdate::toolUse(u"search_library"_s), StreamUpdate::thinking(),
                                       StreamUpdate::textDelta(u"Hello"_s), StreamUpdate::textDelta(u" world"_s),
                                       StreamUpdate::thinking(), toolN, toolN, toolN, toolN};
    EXPECT_EQ(updates, expected);
    // Input that is not an object makes an invalid tool use.
    QStringList uses;
    for (const ToolUse &use : message.toolUses())
        uses << use.id + (use.isValid ? u""_s : u" invalid"_s);
    EXPECT_EQ(uses, QStringList({u"tu_1"_s, u"t5"_s, u"t6"_s, u"t7 invalid"_s, u"t8 invalid"_s}));
    EXPECT_EQ(message.text(), u"Hello world"_s);
}

TEST(MessageAccumulator, OutputTokensJoinAUsageThatWasMissing)
{
    const ClaudeMessage message = fold(R"(data: {"type":"message_start","message":{"id":"a","usage":"odd"}}
data: {"type":"message_delta","usage":{"output_tokens":3}})").first;
    EXPECT_EQ(message.usage, JSONValue::parse(R"({"output_tokens":3})"));
}

TEST(LineSplitter, JoinsLinesAcrossChunksAndDropsCarriageReturns)
{
    QList<QByteArray> lines;
    const auto collect = [&](QByteArrayView line) { lines.append(line.toByteArray()); };
    const auto split = [&](LineSplitter splitter, const QList<QByteArray> &chunks) {
        lines.clear();
        for (const QByteArray &chunk : chunks)
            splitter.feed(chunk, collect);
        splitter.finish(collect);
        return lines;
    };
    EXPECT_EQ(split(LineSplitter(), {"data: {\"a\"", ":1}\r\n\r\nevent: x\nda", "ta: tail"}),
              QList<QByteArray>({"data: {\"a\":1}", "", "event: x", "data: tail"}));
    // A line past the limit is dropped whole, and the next one reads normally.
    EXPECT_EQ(split(LineSplitter(8), {"data: 0123", "456789 still the same line", " and more\nok\n"}), QList<QByteArray>({"ok"}));
    // So is one that comes in one chunk; the "\r" before a newline doesn't count.
    EXPECT_EQ(split(LineSplitter(8), {"data: 0123456789\nok\r\n12345678\r", "\n123456789"}), QList<QByteArray>({"ok", "12345678"}));
}
