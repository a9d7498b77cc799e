#include "claude/ClaudeMessage.h"

size_t qHash(const ToolUse &toolUse, size_t seed)
{
    return qHashMulti(seed, toolUse.id, toolUse.name, toolUse.input, toolUse.isValid);
}

ClaudeMessage ClaudeMessage::fromJSON(const JSONValue &value)
{
    ClaudeMessage message;
    message.id = value[QStringLiteral("id")].stringValue().value_or(QString());
    message.model = value[QStringLiteral("model")].stringValue().value_or(QString());
    if (const JSONLookup content = value[QStringLiteral("content")]; content.isArray())
        message.content = content->arrayItems();
    message.stopReason = value[QStringLiteral("stop_reason")].stringValue();
    message.stopDetails = value[QStringLiteral("stop_details")];
    message.usage = value[QStringLiteral("usage")];
    return message;
}

QString ClaudeMessage::text() const
{
    QString text;
    for (const JSONValue &block : content) {
        if (block[QStringLiteral("type")].stringValue() != QLatin1String("text"))
            continue;
        if (const std::optional<QString> piece = block[QStringLiteral("text")].stringValue())
            text += *piece;
    }
    return text;
}

QList<ToolUse> ClaudeMessage::toolUses() const
{
    QList<ToolUse> uses;
    for (const JSONValue &block : content) {
        if (block[QStringLiteral("type")].stringValue() != QLatin1String("tool_use"))
            continue;
        const std::optional<QString> id = block[QStringLiteral("id")].stringValue();
        const std::optional<QString> name = block[QStringLiteral("name")].stringValue();
        if (!id || !name)
            continue;
        ToolUse use{*id, *name, JSONValue(JSONValue::Object()), true};
        if (const JSONLookup input = block[QStringLiteral("input")]) {
            use.input = *input;
            use.isValid = input->isObject();
        }
        uses.append(use);
    }
    return uses;
}

QList<JSONValue> ClaudeMessage::replayContent() const
{
    const auto isFallback = [](const JSONValue &block) {
        return block[QStringLiteral("type")].stringValue() == QLatin1String("fallback");
    };
    qsizetype lastFallback = -1;
    for (qsizetype i = content.size() - 1; i >= 0; --i) {
        if (isFallback(content.at(i))) {
            lastFallback = i;
            break;
        }
    }
    if (lastFallback < 0)
        return content;

    QList<JSONValue> kept;
    for (qsizetype i = 0; i < lastFallback; ++i) {
        if (content.at(i)[QStringLiteral("type")].stringValue() == QLatin1String("text"))
            kept.append(content.at(i));
    }
    kept.append(content.mid(lastFallback + 1));
    return kept;
}

JSONValue userMessage(const QString &text)
{
    return JSONValue::object({{QStringLiteral("role"), "user"}, {QStringLiteral("content"), text}});
}
