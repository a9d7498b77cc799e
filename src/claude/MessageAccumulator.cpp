#include "claude/MessageAccumulator.h"

#include "claude/ClaudeError.h"

namespace {

QString stringAt(const JSONLookup &value)
{
    return value.stringValue().value_or(QString());
}

} // namespace

std::optional<JSONValue> MessageAccumulator::eventFromLine(QByteArrayView line)
{
    if (!line.startsWith("data:"))
        return std::nullopt;
    QByteArrayView payload = line.sliced(5);
    while (!payload.isEmpty() && (payload.front() == ' ' || payload.front() == '\t'))
        payload = payload.sliced(1);
    while (!payload.isEmpty() && (payload.back() == ' ' || payload.back() == '\t'))
        payload.chop(1);
    if (payload.isEmpty())
        return std::nullopt;
    try {
        return JSONValue::parse(payload.toByteArray());
    } catch (const JSONError &) {
        return std::nullopt;
    }
}

std::optional<StreamUpdate> MessageAccumulator::apply(const JSONValue &event)
{
    const std::optional<QString> type = event[QStringLiteral("type")].stringValue();
    if (!type)
        return std::nullopt;

    if (*type == QLatin1String("message_start")) {
        const JSONLookup start = event[QStringLiteral("message")];
        const ClaudeMessage started = ClaudeMessage::fromJSON(start.value_or(JSONValue(JSONValue::Object())));
        m_message.id = started.id;
        m_message.model = started.model;
        m_message.usage = started.usage;
        return std::nullopt;
    }

    if (*type == QLatin1String("content_block_start")) {
        const std::optional<qint64> index = event[QStringLiteral("index")].integerValue();
        const JSONLookup start = event[QStringLiteral("content_block")];
        if (!index || !start)
            return std::nullopt;
        Block block;
        block.start = *start;
        block.text = stringAt(start[QStringLiteral("text")]);
        block.thinking = stringAt(start[QStringLiteral("thinking")]);
        block.signature = start[QStringLiteral("signature")].stringValue();
        m_blocks.insert_or_assign(*index, std::move(block));
        const QString blockType = stringAt(start[QStringLiteral("type")]);
        if (blockType == QLatin1String("thinking") || blockType == QLatin1String("redacted_thinking"))
            return StreamUpdate::thinking();
        if (blockType == QLatin1String("tool_use"))
            return StreamUpdate::toolUse(stringAt(start[QStringLiteral("name")]));
        return std::nullopt;
    }

    if (*type == QLatin1String("content_block_delta")) {
        const std::optional<qint64> index = event[QStringLiteral("index")].integerValue();
        const JSONLookup delta = event[QStringLiteral("delta")];
        if (!index || !delta)
            return std::nullopt;
        const auto found = m_blocks.find(*index);
        if (found == m_blocks.end())
            return std::nullopt;
        Block &block = found->second;
        const QString deltaType = stringAt(delta[QStringLiteral("type")]);
        if (deltaType == QLatin1String("text_delta")) {
            const QString piece = stringAt(delta[QStringLiteral("text")]);
            block.text += piece;
            if (!piece.isEmpty())
                return StreamUpdate::textDelta(piece);
        } else if (deltaType == QLatin1String("thinking_delta")) {
            block.thinking += stringAt(delta[QStringLiteral("thinking")]);
        } else if (deltaType == QLatin1String("signature_delta")) {
            block.signature = block.signature.value_or(QString()) + stringAt(delta[QStringLiteral("signature")]);
        } else if (deltaType == QLatin1String("input_json_delta")) {
            block.partialJSON += stringAt(delta[QStringLiteral("partial_json")]);
        } else if (deltaType == QLatin1String("citations_delta")) {
            if (const JSONLookup citation = delta[QStringLiteral("citation")])
                block.citations.append(*citation);
        }
        return std::nullopt;
    }

    if (*type == QLatin1String("message_delta")) {
        if (const std::optional<QString> stopReason = event[QStringLiteral("delta")][QStringLiteral("stop_reason")].stringValue())
            m_message.stopReason = stopReason;
        if (const JSONLookup details = event[QStringLiteral("delta")][QStringLiteral("stop_details")];
            details && !details->isNull())
            m_message.stopDetails = *details;
        if (const std::optional<double> tokens = event[QStringLiteral("usage")][QStringLiteral("output_tokens")].numberValue())
            m_outputTokens = tokens;
        return std::nullopt;
    }

    if (*type == QLatin1String("error")) {
        const std::optional<QString> errorType = event[QStringLiteral("error")][QStringLiteral("type")].stringValue();
        const QString message = event[QStringLiteral("error")][QStringLiteral("message")].stringValue().value_or(
            QStringLiteral("Stream error"));
        int status = 500;
        if (errorType == QLatin1String("overloaded_error"))
            status = 529;
        else if (errorType == QLatin1String("rate_limit_error"))
            status = 429;
        throw ClaudeError::http(status, errorType, message);
    }

    return std::nullopt;
}

JSONValue MessageAccumulator::Block::finished() const
{
    const std::optional<QString> type = start[QStringLiteral("type")].stringValue();
    if (type == QLatin1String("text")) {
        JSONValue block = JSONValue::object({{QStringLiteral("type"), "text"}, {QStringLiteral("text"), text}});
        if (!citations.isEmpty())
            block.insert(QStringLiteral("citations"), citations);
        return block;
    }
    if (type == QLatin1String("thinking")) {
        JSONValue block = JSONValue::object({{QStringLiteral("type"), "thinking"}, {QStringLiteral("thinking"), thinking}});
        if (signature)
            block.insert(QStringLiteral("signature"), *signature);
        return block;
    }
    if (type == QLatin1String("tool_use")) {
        JSONValue input;
        const QByteArray raw = partialJSON.trimmed().toUtf8();
        if (raw.isEmpty()) {
            input = start[QStringLiteral("input")].value_or(JSONValue(JSONValue::Object()));
        } else {
            try {
                input = JSONValue::parse(raw);
            } catch (const JSONError &) {
                // Kept as the raw text: the tool call then reads as not valid,
                // and the model is asked to try again.
                input = QString::fromUtf8(raw);
            }
        }
        return JSONValue::object({
            {QStringLiteral("type"), "tool_use"},
            {QStringLiteral("id"), start[QStringLiteral("id")].value_or(JSONValue(QString()))},
            {QStringLiteral("name"), start[QStringLiteral("name")].value_or(JSONValue(QString()))},
            {QStringLiteral("input"), input},
        });
    }
    return start;
}

ClaudeMessage MessageAccumulator::finish() const
{
    ClaudeMessage message = m_message;
    message.content.clear();
    message.content.reserve(qsizetype(m_blocks.size()));
    for (const auto &[index, block] : m_blocks)
        message.content.append(block.finished());
    if (m_outputTokens) {
        JSONValue usage = message.usage && message.usage->isObject() ? *message.usage : JSONValue(JSONValue::Object());
        usage.insert(QStringLiteral("output_tokens"), *m_outputTokens);
        message.usage = usage;
    }
    return message;
}
