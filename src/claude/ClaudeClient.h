// The program's only network client: Anthropic's Messages API, called straight
// with the user's own key. It builds the request, sends it with a small retry
// policy, hands back a whole message or a stream of updates, and turns every
// failure into a ClaudeError whose text can go on screen.
//
// Every call blocks its thread: run them off the main thread. A stream's
// transfer runs on a thread of its own.
#pragma once

#include "claude/ClaudeError.h"
#include "claude/ClaudeMessage.h"
#include "claude/HTTPTransfer.h"
#include "claude/JSONDecoder.h"
#include "claude/MessageAccumulator.h"
#include "core/Tasks.h"

#include <condition_variable>
#include <deque>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

// A streamed answer being read. Updates queue up without limit until taken;
// destroying the stream cancels its transfer at once.
class MessageStream
{
public:
    ~MessageStream();
    MessageStream(const MessageStream &) = delete;
    MessageStream &operator=(const MessageStream &) = delete;

    // The next update, waiting for it. Absent once the stream has ended
    // normally (after its message update). Throws the error that ended the
    // stream (a ClaudeError or CancellationError), once the updates before it
    // were taken.
    std::optional<StreamUpdate> next();
    // Stops the transfer; next() then throws CancellationError.
    void cancel();

private:
    friend class ClaudeClient;
    MessageStream() = default;

    void deliver(StreamUpdate update);
    void end(std::exception_ptr error);

    CancellationToken m_token;
    std::mutex m_mutex;
    std::condition_variable m_arrived;
    std::deque<StreamUpdate> m_updates;
    std::exception_ptr m_error;
    bool m_ended = false;
    std::thread m_thread;
};

class ClaudeClient
{
public:
    using KeyProvider = std::function<std::optional<QString>()>;

    struct Options
    {
        // The API host; LARDER_ANTHROPIC_BASE_URL, else https://api.anthropic.com.
        QString baseURL;
        // Idle time-outs of the three kinds of request, in seconds.
        int sendTimeout = 120;
        int streamTimeout = 300;
        int validateTimeout = 60;
        // A failed attempt is retried at most this often.
        int maxRetries = 2;
        // The wait before retry n (1, 2, ...) is backoffBase * 2^n seconds plus
        // a uniform jitter from 0 to backoffJitter seconds.
        double backoffBase = 0.6;
        double backoffJitter = 0.4;

        static Options standard();
    };

    enum class Delivery { whole, streamed };

    // apiKey is asked anew before every request, so a key saved in Settings
    // serves from the next request on.
    explicit ClaudeClient(KeyProvider apiKey, Options options = Options::standard());

    ClaudeMessage send(const MessageRequest &request, const CancellationToken &token = CancellationToken::none()) const;
    // Starts the transfer on a thread of its own and returns at once. The
    // client must outlive the streams it started.
    std::unique_ptr<MessageStream> stream(const MessageRequest &request,
                                          const CancellationToken &token = CancellationToken::none()) const;
    // Reads a stream to its end, passing each piece of text to onText, and
    // returns the finished message.
    ClaudeMessage streamMessage(const MessageRequest &request, const std::function<void(const QString &)> &onText,
                                const CancellationToken &token = CancellationToken::none()) const;
    // Runs a request whose answer must decode into T (a record with a static
    // decode(const JSONDecoder &) and a typeName). Large outputs are streamed.
    template<JSONDecodable T>
    T structured(const MessageRequest &request, const CancellationToken &token = CancellationToken::none()) const
    {
        const QString text = structuredText(request, token);
        try {
            return decodeJSON<T>(JSONValue::parse(text.toUtf8()), QString());
        } catch (const DescribedError &error) {
            throw ClaudeError::invalidResponse(QStringLiteral("couldn't decode %1: %2")
                                                   .arg(QLatin1String(T::typeName), error.description()));
        }
    }
    // Checks a key (the one given, not the stored one) against the API.
    void validateKey(const QString &key, const CancellationToken &token = CancellationToken::none()) const;

    // The HTTP request of a message call. Throws missingAPIKey without a key.
    HTTPRequest messagesRequest(const MessageRequest &request, Delivery delivery) const;
    // The JSON body of a message call, before serialising.
    static JSONValue requestBody(const MessageRequest &request, Delivery delivery);
    // The answer text of a structured call, after its refusal and
    // truncation checks.
    QString structuredText(const MessageRequest &request, const CancellationToken &token) const;
    // The wait before retry number attempt + 1, for a jitter draw in [0, 1).
    double retryDelay(int attempt, double jitterDraw) const;

    const Options &options() const { return m_options; }

private:
    // Runs one attempt after another under the retry policy.
    template<typename Attempt>
    auto withRetries(Attempt &&attempt, const std::function<bool()> &isCancelled) const -> decltype(attempt());
    void runStream(const HTTPRequest &request, MessageStream &stream, const CancellationToken &callerToken) const;

    KeyProvider m_apiKey;
    Options m_options;
    QByteArray m_messagesURL;
    QByteArray m_modelsURL;
};

// The error of a response that isn't a success: the server's error type and
// message when the body says them, else the phrase of the status.
ClaudeError responseError(int status, const QByteArray &body);
