#include "claude/ClaudeClient.h"

#include <QRandomGenerator>

#include <chrono>
#include <cmath>

namespace {

constexpr const char *apiVersion = "2023-06-01";
constexpr const char *fallbackBeta = "server-side-fallback-2026-07-01";
// An error answer is read only this far before it is judged.
constexpr qsizetype errorBodyLimit = 65536;
// A whole answer larger than this is not a message.
constexpr qsizetype wholeBodyLimit = 64 * 1024 * 1024;

bool usesServerSideFallback(const QString &model)
{
    return model.startsWith(QLatin1String("claude-opus-5")) || model.startsWith(QLatin1String("claude-fable-5"));
}

// Sleeps for the given time, looking at the token every few milliseconds.
void sleepUnlessCancelled(double seconds, const std::function<bool()> &isCancelled)
{
    using Clock = std::chrono::steady_clock;
    const auto until = Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
    while (Clock::now() < until) {
        if (isCancelled())
            throw CancellationError();
        std::this_thread::sleep_for(std::min<Clock::duration>(std::chrono::milliseconds(10), until - Clock::now()));
    }
    if (isCancelled())
        throw CancellationError();
}

// Turns what the transport reports into the error a caller sees; success
// and a stop asked for by the receiver are not errors.
void throwIfFailed(const HTTPOutcome &outcome)
{
    switch (outcome.result) {
    case HTTPOutcome::Result::cancelled:
        throw CancellationError();
    case HTTPOutcome::Result::failed:
        throw ClaudeError::network(outcome.error);
    case HTTPOutcome::Result::completed:
    case HTTPOutcome::Result::stopped:
        break;
    }
}

struct CollectedResponse
{
    int status = 0;
    QByteArray body;
};

// Performs a request and keeps its body, up to limit bytes.
CollectedResponse collect(const HTTPRequest &request, qsizetype limit, const CancellationToken &token)
{
    CollectedResponse response;
    bool tooLarge = false;
    HTTPTransfer transfer;
    transfer.onData = [&](QByteArrayView bytes) {
        if (response.body.size() + bytes.size() > limit) {
            tooLarge = true;
            return false;
        }
        response.body.append(bytes);
        return true;
    };
    const HTTPOutcome outcome = transfer.perform(request, [&] { return token.isCancelled(); });
    throwIfFailed(outcome);
    response.status = outcome.status;
    if (tooLarge && response.status >= 200 && response.status < 300)
        throw ClaudeError::invalidResponse(QStringLiteral("the response is larger than %1 bytes").arg(limit));
    return response;
}

// The key never goes into an error text, not even when a server repeats it.
QString withoutKey(QString text, const QByteArray &key)
{
    if (!key.isEmpty())
        text.replace(QString::fromUtf8(key), QStringLiteral("[API key]"));
    return text;
}

void checkResponse(const CollectedResponse &response, const QByteArray &key)
{
    if (response.status == 0)
        throw ClaudeError::invalidResponse(QStringLiteral("not an HTTP response"));
    if (response.status >= 200 && response.status <= 299)
        return;
    const ClaudeError error = responseError(response.status, response.body);
    throw ClaudeError::http(error.status(), error.type(), withoutKey(error.message(), key));
}

QByteArray keyOf(const HTTPRequest &request)
{
    for (const auto &[name, value] : request.headers) {
        if (name == "x-api-key")
            return value;
    }
    return {};
}

} // namespace

ClaudeError responseError(int status, const QByteArray &body)
{
    std::optional<QString> type;
    std::optional<QString> message;
    try {
        const JSONValue parsed = JSONValue::parse(body);
        type = parsed[QStringLiteral("error")][QStringLiteral("type")].stringValue();
        message = parsed[QStringLiteral("error")][QStringLiteral("message")].stringValue();
    } catch (const JSONError &) {
    }
    return ClaudeError::http(status, type, message.value_or(httpStatusPhrase(status)));
}

// ---- MessageStream ----

MessageStream::~MessageStream()
{
    m_token.cancel();
    if (m_thread.joinable())
        m_thread.join();
}

void MessageStream::cancel()
{
    m_token.cancel();
}

std::optional<StreamUpdate> MessageStream::next()
{
    std::unique_lock lock(m_mutex);
    m_arrived.wait(lock, [this] { return !m_updates.empty() || m_ended; });
    if (!m_updates.empty()) {
        StreamUpdate update = std::move(m_updates.front());
        m_updates.pop_front();
        return update;
    }
    if (m_error)
        std::rethrow_exception(m_error);
    return std::nullopt;
}

void MessageStream::deliver(StreamUpdate update)
{
    {
        std::lock_guard lock(m_mutex);
        m_updates.push_back(std::move(update));
    }
    m_arrived.notify_one();
}

void MessageStream::end(std::exception_ptr error)
{
    {
        std::lock_guard lock(m_mutex);
        m_error = std::move(error);
        m_ended = true;
    }
    m_arrived.notify_one();
}

// ---- ClaudeClient ----

ClaudeClient::Options ClaudeClient::Options::standard()
{
    Options options;
    const QString fromEnvironment = qEnvironmentVariable("LARDER_ANTHROPIC_BASE_URL").trimmed();
    options.baseURL = fromEnvironment.isEmpty() ? QStringLiteral("https://api.anthropic.com") : fromEnvironment;
    return options;
}

ClaudeClient::ClaudeClient(KeyProvider apiKey, Options options)
    : m_apiKey(std::move(apiKey))
    , m_options(std::move(options))
{
    QString base = m_options.baseURL;
    while (base.endsWith(u'/'))
        base.chop(1);
    m_messagesURL = (base + QStringLiteral("/v1/messages")).toUtf8();
    m_modelsURL = (base + QStringLiteral("/v1/models?limit=1")).toUtf8();
}

JSONValue ClaudeClient::requestBody(const MessageRequest &request, Delivery delivery)
{
    JSONValue body = JSONValue::object({
        {QStringLiteral("model"), request.model},
        {QStringLiteral("max_tokens"), request.maxTokens},
        {QStringLiteral("messages"), JSONValue::Array(request.messages)},
    });
    if (request.system) {
        if (request.cacheSystemPrompt) {
            body.insert(QStringLiteral("system"),
                        JSONValue::array({JSONValue::object({
                            {QStringLiteral("type"), "text"},
                            {QStringLiteral("text"), *request.system},
                            {QStringLiteral("cache_control"), JSONValue::object({{QStringLiteral("type"), "ephemeral"}})},
                        })}));
        } else {
            body.insert(QStringLiteral("system"), *request.system);
        }
    }
    if (!request.tools.isEmpty())
        body.insert(QStringLiteral("tools"), JSONValue::Array(request.tools));
    if (request.effort || request.outputSchema) {
        JSONValue outputConfig(JSONValue::Object{});
        if (request.effort)
            outputConfig.insert(QStringLiteral("effort"), *request.effort);
        if (request.outputSchema)
            outputConfig.insert(QStringLiteral("format"), JSONValue::object({{QStringLiteral("type"), "json_schema"},
                                                                             {QStringLiteral("schema"), *request.outputSchema}}));
        body.insert(QStringLiteral("output_config"), outputConfig);
    }
    if (request.thinkingDisplay)
        body.insert(QStringLiteral("thinking"), JSONValue::object({{QStringLiteral("type"), "adaptive"},
                                                                   {QStringLiteral("display"), *request.thinkingDisplay}}));
    if (delivery == Delivery::streamed)
        body.insert(QStringLiteral("stream"), true);
    if (usesServerSideFallback(request.model))
        body.insert(QStringLiteral("fallbacks"), "default");
    return body;
}

HTTPRequest ClaudeClient::messagesRequest(const MessageRequest &request, Delivery delivery) const
{
    const std::optional<QString> key = m_apiKey ? m_apiKey() : std::nullopt;
    if (!key || key->isEmpty())
        throw ClaudeError::missingAPIKey();

    HTTPRequest http;
    http.method = "POST";
    http.url = m_messagesURL;
    http.idleTimeoutSeconds = delivery == Delivery::streamed ? m_options.streamTimeout : m_options.sendTimeout;
    http.headers = {
        {"x-api-key", key->toUtf8()},
        {"anthropic-version", apiVersion},
        {"content-type", "application/json"},
    };
    QByteArrayList betas;
    if (usesServerSideFallback(request.model))
        betas << fallbackBeta;
    if (!betas.isEmpty())
        http.headers.append({"anthropic-beta", betas.join(',')});
    http.body = requestBody(request, delivery).serialized();
    return http;
}

double ClaudeClient::retryDelay(int attempt, double jitterDraw) const
{
    return m_options.backoffBase * std::pow(2.0, attempt + 1) + jitterDraw * m_options.backoffJitter;
}

template<typename Attempt>
auto ClaudeClient::withRetries(Attempt &&attempt, const std::function<bool()> &isCancelled) const -> decltype(attempt())
{
    for (int attemptNumber = 0;; ++attemptNumber) {
        try {
            return attempt();
        } catch (const ClaudeError &error) {
            if (attemptNumber >= m_options.maxRetries || !error.isRetryable() || isCancelled())
                throw;
        }
        sleepUnlessCancelled(retryDelay(attemptNumber, QRandomGenerator::global()->generateDouble()), isCancelled);
    }
}

ClaudeMessage ClaudeClient::send(const MessageRequest &request, const CancellationToken &token) const
{
    const HTTPRequest http = messagesRequest(request, Delivery::whole);
    const CollectedResponse response = withRetries(
        [&] {
            CollectedResponse collected = collect(http, wholeBodyLimit, token);
            checkResponse(collected, keyOf(http));
            return collected;
        },
        [&] { return token.isCancelled(); });
    try {
        return ClaudeMessage::fromJSON(JSONValue::parse(response.body));
    } catch (const JSONError &error) {
        throw ClaudeError::invalidResponse(error.description());
    }
}

std::unique_ptr<MessageStream> ClaudeClient::stream(const MessageRequest &request, const CancellationToken &token) const
{
    std::unique_ptr<MessageStream> stream(new MessageStream);
    HTTPRequest http;
    try {
        http = messagesRequest(request, Delivery::streamed);
    } catch (...) {
        stream->end(std::current_exception());
        return stream;
    }
    MessageStream *target = stream.get();
    // The thread reads only its own copies and the stream, which joins it
    // before it goes; the client itself must outlive the stream.
    stream->m_thread = std::thread([this, http = std::move(http), target, token] {
        try {
            runStream(http, *target, token);
            target->end(nullptr);
        } catch (...) {
            target->end(std::current_exception());
        }
    });
    return stream;
}

void ClaudeClient::runStream(const HTTPRequest &request, MessageStream &stream, const CancellationToken &callerToken) const
{
    const CancellationToken &ownToken = stream.m_token;
    const std::function<bool()> isCancelled = [&] { return callerToken.isCancelled() || ownToken.isCancelled(); };

    MessageAccumulator accumulator;
    LineSplitter lines;
    std::exception_ptr failure;

    // The opening is retried; once a 200 answer is open, nothing is.
    withRetries(
        [&] {
            int status = 0;
            QByteArray errorBody;
            HTTPTransfer transfer;
            transfer.onResponse = [&](int code) { status = code; };
            transfer.onData = [&](QByteArrayView bytes) {
                if (status != 200) {
                    errorBody.append(bytes);
                    return errorBody.size() <= errorBodyLimit;
                }
                bool keepGoing = true;
                lines.feed(bytes, [&](QByteArrayView line) {
                    if (!keepGoing)
                        return;
                    if (isCancelled()) {
                        failure = std::make_exception_ptr(CancellationError());
                        keepGoing = false;
                        return;
                    }
                    const std::optional<JSONValue> event = MessageAccumulator::eventFromLine(line);
                    if (!event)
                        return;
                    try {
                        if (std::optional<StreamUpdate> update = accumulator.apply(*event))
                            stream.deliver(std::move(*update));
                    } catch (...) {
                        failure = std::current_exception();
                        keepGoing = false;
                    }
                });
                return keepGoing;
            };
            const HTTPOutcome outcome = transfer.perform(request, isCancelled);
            if (status == 200) {
                // Open: whatever went wrong from here on ends the stream unretried.
                if (!failure && outcome.result == HTTPOutcome::Result::cancelled)
                    failure = std::make_exception_ptr(CancellationError());
                else if (!failure && outcome.result == HTTPOutcome::Result::failed)
                    failure = std::make_exception_ptr(ClaudeError::network(outcome.error));
                return;
            }
            throwIfFailed(outcome);
            checkResponse(CollectedResponse{outcome.status, errorBody}, keyOf(request));
            throw ClaudeError::invalidResponse(QStringLiteral("the stream opened with status %1").arg(outcome.status));
        },
        isCancelled);

    if (failure)
        std::rethrow_exception(failure);
    lines.finish([&](QByteArrayView line) {
        if (const std::optional<JSONValue> event = MessageAccumulator::eventFromLine(line)) {
            if (std::optional<StreamUpdate> update = accumulator.apply(*event))
                stream.deliver(std::move(*update));
        }
    });
    stream.deliver(StreamUpdate::finished(accumulator.finish()));
}

ClaudeMessage ClaudeClient::streamMessage(const MessageRequest &request, const std::function<void(const QString &)> &onText,
                                          const CancellationToken &token) const
{
    const std::unique_ptr<MessageStream> updates = stream(request, token);
    while (const std::optional<StreamUpdate> update = updates->next()) {
        if (update->kind == StreamUpdate::Kind::textDelta && onText)
            onText(update->text);
        else if (update->kind == StreamUpdate::Kind::message)
            return update->message;
    }
    if (token.isCancelled())
        throw CancellationError();
    throw ClaudeError::invalidResponse(QStringLiteral("stream ended without a message"));
}

QString ClaudeClient::structuredText(const MessageRequest &request, const CancellationToken &token) const
{
    const ClaudeMessage message = request.maxTokens < 16001 ? send(request, token) : streamMessage(request, {}, token);
    if (message.stopReason == QLatin1String("refusal")) {
        const std::optional<QString> category = message.stopDetails
            ? (*message.stopDetails)[QStringLiteral("category")].stringValue()
            : std::nullopt;
        throw ClaudeError::refusal(category);
    }
    if (message.stopReason == QLatin1String("max_tokens"))
        throw ClaudeError::truncated();
    const QString text = message.text();
    if (text.isEmpty())
        throw ClaudeError::invalidResponse(QStringLiteral("empty structured response"));
    return text;
}

void ClaudeClient::validateKey(const QString &key, const CancellationToken &token) const
{
    HTTPRequest http;
    http.url = m_modelsURL;
    http.idleTimeoutSeconds = m_options.validateTimeout;
    http.headers = {{"x-api-key", key.toUtf8()}, {"anthropic-version", apiVersion}};
    checkResponse(collect(http, errorBodyLimit, token), keyOf(http));
}
