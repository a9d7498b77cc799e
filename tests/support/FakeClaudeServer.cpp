#include "support/FakeClaudeServer.h"

#include <httplib.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

FakeReply FakeReply::error(int status, const QByteArray &type, const QString &message)
{
    return json(status, R"({"error":{"message":)" + JSONValue(message).serialized() + R"(,"type":")" + type
                            + R"("},"type":"error"})");
}

FakeReply FakeReply::events(const QList<QByteArray> &events)
{
    FakeReply reply{.contentType = "text/event-stream"};
    for (const QByteArray &event : events)
        reply.chunks.append(sseFrame(event));
    return reply;
}

FakeReply FakeReply::message(const QString &text, const QByteArray &stopReason)
{
    return json(200, R"({"content":[{"text":)" + JSONValue(text).serialized() + R"(,"type":"text"}],"id":"msg_1",)"
                         + R"("model":"claude-test","role":"assistant","stop_reason":")" + stopReason + R"(",)"
                         + R"("type":"message","usage":{"input_tokens":10,"output_tokens":5}})");
}

FakeReply FakeReply::streamedMessage(const QStringList &pieces, const QByteArray &stopReason)
{
    return events(QList<QByteArray>{messageStart()} + textBlock(0, pieces)
                  + QList<QByteArray>{messageDelta(stopReason, 5), messageStop()});
}

QByteArray FakeReply::sseFrame(const QByteArray &eventJSON)
{
    const QString type = JSONValue::parse(eventJSON)[QStringLiteral("type")].stringValue().value_or(QString());
    return "event: " + type.toUtf8() + "\ndata: " + eventJSON + "\n\n";
}

QByteArray FakeReply::messageStart()
{
    return R"({"type":"message_start","message":{"id":"msg_1","type":"message","role":"assistant","model":"claude-test",)"
           R"("content":[],"stop_reason":null,"usage":{"input_tokens":10,"output_tokens":1}}})";
}

QList<QByteArray> FakeReply::textBlock(int index, const QStringList &pieces)
{
    const QByteArray at = R"({"index":)" + QByteArray::number(index) + ',';
    QList<QByteArray> events{at + R"("type":"content_block_start","content_block":{"type":"text","text":""}})"};
    for (const QString &piece : pieces)
        events.append(at + R"("type":"content_block_delta","delta":{"type":"text_delta","text":)"
                      + JSONValue(piece).serialized() + "}}");
    events.append(at + R"("type":"content_block_stop"})");
    return events;
}

QList<QByteArray> FakeReply::toolUseBlock(int index, const QString &id, const QString &name,
                                         const QStringList &inputPieces)
{
    const QByteArray at = R"({"index":)" + QByteArray::number(index) + ',';
    QList<QByteArray> events{at + R"("type":"content_block_start","content_block":{"type":"tool_use","id":)"
                             + JSONValue(id).serialized() + R"(,"name":)" + JSONValue(name).serialized()
                             + R"(,"input":{}}})"};
    for (const QString &piece : inputPieces)
        events.append(at + R"("type":"content_block_delta","delta":{"type":"input_json_delta","partial_json":)"
                      + JSONValue(piece).serialized() + "}}");
    events.append(at + R"("type":"content_block_stop"})");
    return events;
}

QByteArray FakeReply::messageDelta(const QByteArray &stopReason, int outputTokens)
{
    return R"({"type":"message_delta","delta":{"stop_reason":")" + stopReason + R"(","stop_sequence":null},)"
        + R"("usage":{"output_tokens":)" + QByteArray::number(outputTokens) + "}}";
}

struct FakeClaudeServer::Private
{
    httplib::Server server;
    std::thread thread;
    int port = 0;

    mutable std::mutex mutex;
    std::condition_variable stopping;
    bool stopped = false;
    std::deque<FakeReply> script;
    QList<RecordedRequest> recorded;

    // Waits, but gives up at once when the server shuts down.
    bool pause(int ms)
    {
        std::unique_lock lock(mutex);
        return !stopping.wait_for(lock, std::chrono::milliseconds(ms), [this] { return stopped; });
    }

    FakeReply take(const httplib::Request &request)
    {
        RecordedRequest record{QByteArray::fromStdString(request.method), QByteArray::fromStdString(request.target), {},
                               QByteArray::fromStdString(request.body)};
        for (const auto &[name, value] : request.headers)
            record.headers.insert(QByteArray::fromStdString(name).toLower(), QByteArray::fromStdString(value));
        std::lock_guard lock(mutex);
        recorded.append(record);
        if (script.empty())
            return FakeReply::error(500, "api_error", QStringLiteral("unscripted request"));
        const FakeReply reply = script.front();
        script.pop_front();
        return reply;
    }

    void answer(const httplib::Request &request, httplib::Response &response)
    {
        const FakeReply reply = take(request);
        if (reply.delayBeforeMs > 0 && !pause(reply.delayBeforeMs))
            return;
        response.status = reply.status;
        if (reply.chunks.isEmpty())
            return response.set_content(reply.body.toStdString(), reply.contentType.toStdString());
        auto next = std::make_shared<qsizetype>(0);
        response.set_chunked_content_provider(
            reply.contentType.toStdString(), [this, reply, next](size_t, httplib::DataSink &sink) {
                if (*next > 0 && reply.delayBetweenChunksMs > 0 && !pause(reply.delayBetweenChunksMs))
                    return false;
                if (*next < reply.chunks.size()) {
                    const QByteArray &chunk = reply.chunks.at((*next)++);
                    return sink.write(chunk.constData(), size_t(chunk.size()));
                }
                if (reply.cutAfterChunks)
                    return false; // closes the connection with the stream unfinished
                sink.done();
                return true;
            });
    }
};

FakeClaudeServer::FakeClaudeServer()
    : d(std::make_unique<Private>())
{
    const auto handler = [this](const httplib::Request &request, httplib::Response &response) {
        d->answer(request, response);
    };
    d->server.Post("/v1/messages", handler);
    d->server.Get("/v1/models", handler);
    d->server.set_keep_alive_max_count(1);
    d->server.set_read_timeout(1);
    d->server.set_write_timeout(1);
    d->port = d->server.bind_to_any_port("127.0.0.1");
    d->thread = std::thread([this] { d->server.listen_after_bind(); });
    while (!d->server.is_running())
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

FakeClaudeServer::~FakeClaudeServer()
{
    {
        std::lock_guard lock(d->mutex);
        d->stopped = true;
    }
    d->stopping.notify_all();
    d->server.stop();
    d->thread.join();
}

QString FakeClaudeServer::baseURL() const
{
    return QStringLiteral("http://127.0.0.1:%1").arg(d->port);
}

ClaudeClient::Options FakeClaudeServer::clientOptions() const
{
    return {.baseURL = baseURL(), .sendTimeout = 1, .streamTimeout = 1, .validateTimeout = 1, .backoffBase = 0.005,
            .backoffJitter = 0.005};
}

void FakeClaudeServer::enqueue(const FakeReply &reply, int times)
{
    std::lock_guard lock(d->mutex);
    d->script.insert(d->script.end(), times, reply);
}

QList<RecordedRequest> FakeClaudeServer::requests() const
{
    std::lock_guard lock(d->mutex);
    return d->recorded;
}
