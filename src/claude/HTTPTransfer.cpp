#include "claude/HTTPTransfer.h"

#include <curl/curl.h>

#include <chrono>
#include <csignal>
#include <mutex>

namespace {

void initialiseCurlOnce()
{
    static std::once_flag once;
    std::call_once(once, [] {
        curl_global_init(CURL_GLOBAL_DEFAULT);
        // A peer that closes a TLS connection under a write would otherwise
        // end the whole program; a failed write is an error like any other.
        std::signal(SIGPIPE, SIG_IGN);
    });
}

struct TransferState
{
    HTTPTransfer *transfer = nullptr;
    CURL *easy = nullptr;
    int status = 0;
    bool responseAnnounced = false;
    bool stoppedByReceiver = false;
};

size_t onHeaderLine(char *data, size_t size, size_t count, void *userData)
{
    auto *state = static_cast<TransferState *>(userData);
    const size_t length = size * count;
    const QByteArrayView line(data, qsizetype(length));
    if (line.startsWith("HTTP/")) {
        // A new status line: an interim 1xx answer is followed by the real one.
        state->responseAnnounced = false;
        state->status = 0;
        return length;
    }
    if (line.trimmed().isEmpty() && !state->responseAnnounced) {
        long status = 0;
        curl_easy_getinfo(state->easy, CURLINFO_RESPONSE_CODE, &status);
        if (status >= 200) {
            state->status = int(status);
            state->responseAnnounced = true;
            if (state->transfer->onResponse)
                state->transfer->onResponse(state->status);
        }
    }
    return length;
}

size_t onBody(char *data, size_t size, size_t count, void *userData)
{
    auto *state = static_cast<TransferState *>(userData);
    const size_t length = size * count;
    if (state->transfer->onData && !state->transfer->onData(QByteArrayView(data, qsizetype(length)))) {
        state->stoppedByReceiver = true;
        return CURL_WRITEFUNC_ERROR;
    }
    return length;
}

// Bytes sent and received so far, headers included.
curl_off_t bytesMoved(CURL *easy)
{
    curl_off_t uploaded = 0;
    curl_off_t downloaded = 0;
    long headers = 0;
    curl_easy_getinfo(easy, CURLINFO_SIZE_UPLOAD_T, &uploaded);
    curl_easy_getinfo(easy, CURLINFO_SIZE_DOWNLOAD_T, &downloaded);
    curl_easy_getinfo(easy, CURLINFO_HEADER_SIZE, &headers);
    return uploaded + downloaded + headers;
}

// Phrases for the failures a person is likely to meet; the rest take
// libcurl's own wording.
QString transportPhrase(CURLcode code, const char *detail)
{
    switch (code) {
    case CURLE_OPERATION_TIMEDOUT:
        return QStringLiteral("The request timed out.");
    case CURLE_COULDNT_RESOLVE_HOST:
        return QStringLiteral("A server with the specified hostname could not be found.");
    case CURLE_COULDNT_CONNECT:
        return QStringLiteral("Could not connect to the server.");
    case CURLE_GOT_NOTHING:
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
    case CURLE_PARTIAL_FILE:
        return QStringLiteral("The network connection was lost.");
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_PEER_FAILED_VERIFICATION:
        return QStringLiteral("A secure connection to the server could not be made.");
    default:
        break;
    }
    if (detail && *detail)
        return QString::fromUtf8(detail);
    return QString::fromUtf8(curl_easy_strerror(code));
}

} // namespace

HTTPOutcome HTTPTransfer::perform(const HTTPRequest &request, const std::function<bool()> &isCancelled)
{
    initialiseCurlOnce();
    HTTPOutcome outcome;
    if (isCancelled()) {
        outcome.result = HTTPOutcome::Result::cancelled;
        return outcome;
    }

    CURL *easy = curl_easy_init();
    CURLM *multi = curl_multi_init();
    TransferState state{this, easy};
    char errorText[CURL_ERROR_SIZE] = {};

    curl_slist *headers = nullptr;
    for (const auto &[name, value] : request.headers)
        headers = curl_slist_append(headers, QByteArray(name + ": " + value).constData());
    // No "Expect: 100-continue" pause before sending a body.
    headers = curl_slist_append(headers, "Expect:");

    curl_easy_setopt(easy, CURLOPT_URL, request.url.constData());
    curl_easy_setopt(easy, CURLOPT_HTTPHEADER, headers);
    curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(easy, CURLOPT_ERRORBUFFER, errorText);
    curl_easy_setopt(easy, CURLOPT_HEADERFUNCTION, onHeaderLine);
    curl_easy_setopt(easy, CURLOPT_HEADERDATA, &state);
    curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, onBody);
    curl_easy_setopt(easy, CURLOPT_WRITEDATA, &state);
    // Idle time-outs only: never CURLOPT_TIMEOUT, which would cut a long stream.
    curl_easy_setopt(easy, CURLOPT_CONNECTTIMEOUT, long(request.idleTimeoutSeconds));
    curl_easy_setopt(easy, CURLOPT_LOW_SPEED_LIMIT, 1L);
    curl_easy_setopt(easy, CURLOPT_LOW_SPEED_TIME, long(request.idleTimeoutSeconds));
    if (request.method == "POST") {
        curl_easy_setopt(easy, CURLOPT_POST, 1L);
        curl_easy_setopt(easy, CURLOPT_POSTFIELDS, request.body.constData());
        curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE_LARGE, curl_off_t(request.body.size()));
    } else if (request.method != "GET") {
        curl_easy_setopt(easy, CURLOPT_CUSTOMREQUEST, request.method.constData());
    }

    curl_multi_add_handle(multi, easy);
    CURLcode code = CURLE_OK;
    bool cancelled = false;
    // libcurl's own low-speed check averages over several seconds, so a
    // stall right after the request was sent would pass unnoticed for that
    // long; the idle time is therefore also measured here, from the last byte
    // that moved either way.
    using Clock = std::chrono::steady_clock;
    const auto idleLimit = std::chrono::seconds(request.idleTimeoutSeconds);
    auto lastActivity = Clock::now();
    curl_off_t lastMoved = 0;
    for (;;) {
        int running = 0;
        const CURLMcode multiCode = curl_multi_perform(multi, &running);
        if (multiCode != CURLM_OK) {
            code = CURLE_FAILED_INIT;
            break;
        }
        if (running == 0) {
            int queued = 0;
            while (CURLMsg *message = curl_multi_info_read(multi, &queued)) {
                if (message->msg == CURLMSG_DONE)
                    code = message->data.result;
            }
            break;
        }
        if (isCancelled()) {
            cancelled = true;
            break;
        }
        const curl_off_t moved = bytesMoved(easy);
        if (moved != lastMoved) {
            lastMoved = moved;
            lastActivity = Clock::now();
        } else if (Clock::now() - lastActivity > idleLimit) {
            code = CURLE_OPERATION_TIMEDOUT;
            break;
        }
        // Wakes on socket activity, else after a short while to look at the
        // cancellation flag again.
        curl_multi_poll(multi, nullptr, 0, 20, nullptr);
    }

    outcome.status = state.status;
    if (cancelled) {
        outcome.result = HTTPOutcome::Result::cancelled;
    } else if (state.stoppedByReceiver) {
        outcome.result = HTTPOutcome::Result::stopped;
    } else if (code == CURLE_OK) {
        outcome.result = HTTPOutcome::Result::completed;
    } else {
        outcome.result = HTTPOutcome::Result::failed;
        outcome.error = transportPhrase(code, errorText);
    }

    curl_multi_remove_handle(multi, easy);
    curl_easy_cleanup(easy);
    curl_multi_cleanup(multi);
    curl_slist_free_all(headers);
    return outcome;
}

QString httpStatusPhrase(int status)
{
    struct Phrase
    {
        int status;
        const char *text;
    };
    static constexpr Phrase table[] = {
        {100, "continue"},
        {101, "switching protocols"},
        {200, "no error"},
        {201, "created"},
        {202, "accepted"},
        {203, "non-authoritative information"},
        {204, "no content"},
        {205, "reset content"},
        {206, "partial content"},
        {300, "multiple choices"},
        {301, "moved permanently"},
        {302, "found"},
        {303, "see other"},
        {304, "not modified"},
        {305, "needs proxy"},
        {307, "redirected"},
        {308, "redirected"},
        {400, "bad request"},
        {401, "unauthorized"},
        {402, "payment required"},
        {403, "forbidden"},
        {404, "not found"},
        {405, "method not allowed"},
        {406, "unacceptable"},
        {407, "proxy authentication required"},
        {408, "request timed out"},
        {409, "conflict"},
        {410, "no longer exists"},
        {411, "length required"},
        {412, "precondition failed"},
        {413, "request too large"},
        {414, "requested URL too long"},
        {415, "unsupported media type"},
        {416, "requested range not satisfiable"},
        {417, "expectation failed"},
        {422, "unprocessable entity"},
        {429, "too many requests"},
        {500, "internal server error"},
        {501, "unimplemented"},
        {502, "bad gateway"},
        {503, "service unavailable"},
        {504, "gateway timed out"},
        {505, "unsupported version"},
    };
    for (const Phrase &phrase : table) {
        if (phrase.status == status)
            return QString::fromLatin1(phrase.text);
    }
    if (status >= 100 && status < 200)
        return QStringLiteral("informational");
    if (status >= 200 && status < 300)
        return QStringLiteral("success");
    if (status >= 300 && status < 400)
        return QStringLiteral("redirected");
    if (status >= 400 && status < 500)
        return QStringLiteral("client error");
    return QStringLiteral("server error");
}
