// A stand-in for Anthropic's Messages API on 127.0.0.1 (an ephemeral port),
// scripted per test: each request takes the next reply from the script, and
// every request is recorded for the test to look at:
//   server.enqueue(FakeReply::streamedMessage({"Hel", "lo"}));
//   ClaudeClient client(key, server.clientOptions());
#pragma once

#include "claude/ClaudeClient.h"

#include <QByteArray>
#include <QHash>
#include <QList>

#include <memory>

struct FakeReply
{
    int status = 200;
    QByteArray contentType = "application/json";
    // The body in one piece, or, when chunks is not empty, written chunk by
    // chunk as a chunked stream (how the event stream arrives).
    QByteArray body = {};
    QList<QByteArray> chunks = {};
    int delayBeforeMs = 0; // before the status line goes out
    int delayBetweenChunksMs = 0;
    bool cutAfterChunks = false; // close the connection without ending the stream

    static FakeReply text(int status, const QByteArray &contentType, const QByteArray &body)
    {
        return {.status = status, .contentType = contentType, .body = body};
    }
    static FakeReply json(int status, const QByteArray &body) { return text(status, "application/json", body); }
    // An error answer in the API's shape: {"type":"error","error":{type, message}}.
    static FakeReply error(int status, const QByteArray &type, const QString &message);
    // A 200 event stream of the given events (JSON object texts), one frame a chunk.
    static FakeReply events(const QList<QByteArray> &events);
    // An answer of one text block, whole or streamed in the given pieces.
    static FakeReply message(const QString &text, const QByteArray &stopReason = "end_turn");
    static FakeReply streamedMessage(const QStringList &pieces, const QByteArray &stopReason = "end_turn");

    // Building blocks of event streams.
    static QByteArray sseFrame(const QByteArray &eventJSON);
    static QByteArray messageStart();
    static QList<QByteArray> textBlock(int index, const QStringList &pieces);
    // A tool call whose input JSON arrives in the given pieces.
    static QList<QByteArray> toolUseBlock(int index, const QString &id, const QString &name,
                                          const QStringList &inputPieces);
    static QByteArray messageDelta(const QByteArray &stopReason, int outputTokens);
    static QByteArray messageStop() { return R"({"type":"message_stop"})"; }
};

struct RecordedRequest
{
    QByteArray method;
    QByteArray path; // with its query
    QHash<QByteArray, QByteArray> headers; // names in lower case
    QByteArray body;

    JSONValue json() const { return JSONValue::parse(body); }
    // The text of the first message, when it is a plain text.
    QString firstMessageText() const
    {
        const JSONLookup messages = json()[QStringLiteral("messages")];
        if (!messages.isArray() || messages->arrayItems().isEmpty())
            return QString();
        return messages->arrayItems().first()[QStringLiteral("content")].stringValue().value_or(QString());
    }
};

class FakeClaudeServer
{
public:
    FakeClaudeServer();
    ~FakeClaudeServer();
    FakeClaudeServer(const FakeClaudeServer &) = delete;
    FakeClaudeServer &operator=(const FakeClaudeServer &) = delete;

    QString baseURL() const;
    // Client options against this server, with short time-outs and back-off
    // so that tests of failures run in well under a second.
    ClaudeClient::Options clientOptions() const;

    // Adds replies to the script. A request beyond the script gets a 500 with
    // the error message "unscripted request".
    void enqueue(const FakeReply &reply, int times = 1);

    QList<RecordedRequest> requests() const;
    int requestCount() const { return int(requests().size()); }

private:
    struct Private;
    std::unique_ptr<Private> d;
};
