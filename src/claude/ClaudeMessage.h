// The values of a Messages API exchange: what is asked, what comes back, and
// the tool calls inside an answer. Content blocks stay JSON values, so kinds
// the client doesn't know pass through untouched.
#pragma once

#include "claude/JSONValue.h"

#include <QList>
#include <QString>

#include <optional>

struct MessageRequest
{
    QString model;
    qint64 maxTokens = 0;
    std::optional<QString> system;
    QList<JSONValue> messages; // each a complete message object
    QList<JSONValue> tools; // each a complete tool definition
    std::optional<QString> effort; // "low" or "medium"
    std::optional<JSONValue> outputSchema; // the answer must satisfy this schema
    std::optional<QString> thinkingDisplay; // set: adaptive thinking with this display
    bool cacheSystemPrompt = false;

    friend bool operator==(const MessageRequest &, const MessageRequest &) = default;
};

struct ToolUse
{
    QString id;
    QString name;
    JSONValue input;
    bool isValid = true; // false when the input is present and not an object

    friend bool operator==(const ToolUse &, const ToolUse &) = default;
};
size_t qHash(const ToolUse &toolUse, size_t seed = 0);

struct ClaudeMessage
{
    QString id;
    QString model;
    QList<JSONValue> content;
    std::optional<QString> stopReason;
    std::optional<JSONValue> stopDetails;
    std::optional<JSONValue> usage;

    // Read field by field from a message object; missing or mistyped fields
    // take their empty values.
    static ClaudeMessage fromJSON(const JSONValue &value);

    // The "text" of every text block, joined with nothing between.
    QString text() const;
    // The tool calls, in content order.
    QList<ToolUse> toolUses() const;
    // The content to put back into the history as the assistant's turn: under
    // server-side fallback, what came before the last fallback block is kept
    // only where it is plain text.
    QList<JSONValue> replayContent() const;

    friend bool operator==(const ClaudeMessage &, const ClaudeMessage &) = default;
};

// {"role":"user","content":text}
JSONValue userMessage(const QString &text);
