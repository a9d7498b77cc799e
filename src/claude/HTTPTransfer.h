// One blocking HTTP exchange over libcurl, with idle time-outs, cancellation
// that takes effect within a few milliseconds, and the body handed over as it
// arrives. Runs on the calling thread; callers keep it off the main thread.
#pragma once

#include <QByteArray>
#include <QList>
#include <QPair>
#include <QString>

#include <functional>

struct HTTPRequest
{
    QByteArray method = "GET";
    QByteArray url;
    QList<QPair<QByteArray, QByteArray>> headers;
    QByteArray body;
    // Both the connection time-out and the longest time without a byte
    // arriving; a transfer that keeps receiving is never cut.
    int idleTimeoutSeconds = 60;
};

struct HTTPOutcome
{
    enum class Result {
        completed, // the server's answer was read to its end
        stopped, // the body receiver asked to stop
        cancelled, // the cancellation check answered true
        failed, // the transport failed; error says how
    };
    Result result = Result::failed;
    int status = 0; // 0 when no response came
    QString error; // for failed: a phrase a person can read
};

class HTTPTransfer
{
public:
    // Called once the headers of the final response are in (after any
    // 100 Continue), with its status.
    std::function<void(int status)> onResponse;
    // Called with each piece of the body; returning false stops the transfer.
    std::function<bool(QByteArrayView bytes)> onData;

    HTTPOutcome perform(const HTTPRequest &request, const std::function<bool()> &isCancelled);
};

// The reason phrase for an HTTP status, from a fixed table (HTTP/2 carries
// none); an unknown status gets the phrase of its class.
QString httpStatusPhrase(int status);
