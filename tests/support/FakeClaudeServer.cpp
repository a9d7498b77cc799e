#include "support/FakeClaudeServer.h"

#include <httplib.h>

#include <QStringList>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

// ---- replies ----

FakeReply FakeReply::json(int status, const QByteArray &body)
{
    return text(status, "application/json", body);
}

FakeReply FakeReply::text(int status, const QByteArray &contentType, const QByteArray &body)
{
    FakeReply reply;
    reply.status = status;
    reply.contentType = contentType;
    reply.body = body;
    return reply;
}

FakeReply FakeReply::error(int status, const QByteArray &type, const QString &message)
{
    const JSONValue body = JSONValue::object({
        {QStringLiteral("type"), "error"},
        {QStringLiteral("error"),
         JSONValue::object({{QStringLiteral("type"), QString::fromUtf8(type)}, {QStringLiteral("message"), message}})},
    });
    return json(status, body.serialized());
}

FakeReply FakeReply::events(const QList<QByteArray> &events)
{
    FakeReply reply;
    reply.contentType = "text/event-stream";
    for (const QByteArray &event : events)
        reply.chunks.append(sseFrame(event));
    return reply;
}

FakeReply FakeReply::message(const QString &text, const QByteArray &stopReason)
{
    const JSONValue body = JSONValue::object({
        {QStringLiteral("id"), "msg_1"},
        {QStringLiteral("type"), "message"},
        {QStringLiteral("role"), "assistant"},
        {QStringLiteral("model"), "claude-test"},
        {QStringLiteral("content"),
         JSONValue::array({JSONValue::object({{QStringLiteral("type"), "text"}, {QStringLiteral("text"), text}})})},
        {QStringLiteral("stop_reason"), QString::fromUtf8(stopReason)},
        {QStringLiteral("usage"), JSONValue::object({{QStringLiteral("input_tokens"), 10}, {QStringLiteral("output_tokens"), 5}})},
    });
    return json(200, body.serialized());
}

FakeReply FakeReply::streamedMessage(const QStringList &pieces, const QByteArray &stopReason)
{
    QList<QByteArray> all{messageStart()};
    all += textBlock(0, pieces);
    all << messageDelta(stopReason, 5) << messageStop();
    return events(all);
}

QByteArray FakeReply::sseFrame(const QByteArray &eventJSON)
{
    std::optional<QString> type;
    try {
        type = JSONValue::parse(eventJSON)[QStringLiteral("type")].stringValue();
    } catch (const JSONError &) {
        // Scripts send broken events on purpose.
    }
    return "event: " + type.value_or(QStringLiteral("unknown")).toUtf8() + "\ndata: " + eventJSON + "\n\n";
}

QByteArray FakeReply::messageStart(const QByteArray &id, int inputTokens)
{
    return R"({"type":"message_start","message":{"id":")" + id
        + R"(","type":"message","role":"assistant","model":"claude-test","content":[],"stop_reason":null,)"
        + R"("usage":{"input_tokens":)" + QByteArray::number(inputTokens) + R"(,"output_tokens":1}}})";
}

QList<QByteArray> FakeReply::textBlock(int index, const QStringList &pieces)
{
    const QByteArray at = QByteArray::number(index);
    QList<QByteArray> events{R"({"type":"content_block_start","index":)" + at
                             + R"(,"content_block":{"type":"text","text":""}})"};
    for (const QString &piece : pieces) {
        const QByteArray delta = JSONValue::object({{QStringLiteral("type"), "text_delta"}, {QStringLiteral("text"), piece}})
                                     .serialized();
        events.append(R"({"type":"content_block_delta","index":)" + at + R"(,"delta":)" + delta + "}");
    }
    events.append(R"({"type":"content_block_stop","index":)" + at + "}");
    return events;
}

QByteArray FakeReply::messageDelta(const QByteArray &stopReason, int outputTokens)
{
    return R"({"type":"message_delta","delta":{"stop_reason":")" + stopReason + R"(","stop_sequence":null},)"
        + R"("usage":{"output_tokens":)" + QByteArray::number(outputTokens) + "}}";
}

QByteArray FakeReply::messageStop()
{
    return R"({"type":"message_stop"})";
}

// ---- the server ----

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
        RecordedRequest record;
        record.method = QByteArray::fromStdString(request.method);
        record.path = QByteArray::fromStdString(request.target);
        for (const auto &[name, value] : request.headers)
            record.headers.insert(QByteArray::fromStdString(name).toLower(), QByteArray::fromStdString(value));
        record.body = QByteArray::fromStdString(request.body);

        std::lock_guard lock(mutex);
        recorded.append(record);
        if (script.empty())
            return FakeReply::error(500, "api_error", QStringLiteral("unscripted request"));
        FakeReply reply = script.front();
        script.pop_front();
        return reply;
    }

    void answer(const httplib::Request &request, httplib::Response &response)
    {
        const FakeReply reply = take(request);
        if (reply.delayBeforeMs > 0 && !pause(reply.delayBeforeMs))
            return;
        response.status = reply.status;
        if (reply.chunks.isEmpty()) {
            response.set_content(reply.body.toStdString(), reply.contentType.toStdString());
            return;
        }
        auto next = std::make_shared<qsizetype>(0);
        response.set_chunked_content_provider(
            reply.contentType.toStdString(), [this, reply, next](size_t, httplib::DataSink &sink) {
                if (*next > 0 && reply.delayBetweenChunksMs > 0 && !pause(reply.delayBetweenChunksMs))
                    return false;
                if (*next >= reply.chunks.size()) {
                    if (reply.cutAfterChunks)
                        return false; // closes the connection with the stream unfinished
                    sink.done();
                    return true;
                }
                const QByteArray &chunk = reply.chunks.at((*next)++);
                return sink.write(chunk.constData(), size_t(chunk.size()));
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
    d->server.set_keep_alive_timeout(1);
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
    ClaudeClient::Options options;
    options.baseURL = baseURL();
    options.sendTimeout = 1;
    options.streamTimeout = 1;
    options.validateTimeout = 1;
    options.backoffBase = 0.005;
    options.backoffJitter = 0.005;
    return options;
}

void FakeClaudeServer::enqueue(const FakeReply &reply)
{
    std::lock_guard lock(d->mutex);
    d->script.push_back(reply);
}

void FakeClaudeServer::enqueue(const FakeReply &reply, int times)
{
    for (int i = 0; i < times; ++i)
        enqueue(reply);
}

QList<RecordedRequest> FakeClaudeServer::requests() const
{
    std::lock_guard lock(d->mutex);
    return d->recorded;
}

int FakeClaudeServer::requestCount() const
{
    std::lock_guard lock(d->mutex);
    return int(d->recorded.size());
}
