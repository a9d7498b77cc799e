// A stand-in for Anthropic's Messages API on 127.0.0.1 (an ephemeral port),
// scripted per test: each request takes the next reply from the script, and
// every request is recorded for the test to look at.
//
//   FakeClaudeServer server;
//   server.enqueue(FakeReply::error(429, "rate_limit_error", "slow"));
//   server.enqueue(FakeReply::events({FakeReply::messageStart(), FakeReply::textBlock(0, "Hi"), ...}));
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
    QByteArray body;
    QList<QByteArray> chunks;
    int delayBeforeMs = 0; // before the status line goes out
    int delayBetweenChunksMs = 0;
    // After the chunks, close the connection without ending the stream.
    bool cutAfterChunks = false;

    static FakeReply json(int status, const QByteArray &body);
    static FakeReply text(int status, const QByteArray &contentType, const QByteArray &body);
    // An error answer in the API's shape: {"type":"error","error":{type, message}}.
    static FakeReply error(int status, const QByteArray &type, const QString &message);
    // A 200 event stream of the given events (each a JSON object text), one
    // "event:"/"data:" pair per chunk.
    static FakeReply events(const QList<QByteArray> &events);
    // A plain message answer with one text block.
    static FakeReply message(const QString &text, const QByteArray &stopReason = "end_turn");
    // The same answer streamed: one text block arriving in the given pieces.
    static FakeReply streamedMessage(const QStringList &pieces, const QByteArray &stopReason = "end_turn");

    // Building blocks of event streams.
    static QByteArray sseFrame(const QByteArray &eventJSON);
    static QByteArray messageStart(const QByteArray &id = "msg_1", int inputTokens = 10);
    static QList<QByteArray> textBlock(int index, const QStringList &pieces);
    static QByteArray messageDelta(const QByteArray &stopReason, int outputTokens);
    static QByteArray messageStop();
};

struct RecordedRequest
{
    QByteArray method;
    QByteArray path; // with its query
    QHash<QByteArray, QByteArray> headers; // names in lower case
    QByteArray body;

    JSONValue json() const { return JSONValue::parse(body); }
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
    void enqueue(const FakeReply &reply);
    void enqueue(const FakeReply &reply, int times);

    QList<RecordedRequest> requests() const;
    int requestCount() const;

private:
    struct Private;
    std::unique_ptr<Private> d;
};
