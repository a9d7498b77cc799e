// The Claude client's own costs, away from any real network:
//  - stream folding: framing and folding a generated answer of 10,000 events,
//    in events per second;
//  - added latency: a whole request through ClaudeClient::send against the
//    local fake server, beside a bare libcurl request of the same bytes to the
//    same server, measured alternately in the same run.
#include "claude/ClaudeClient.h"
#include "support/FakeClaudeServer.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTextStream>

#include <curl/curl.h>

#include <algorithm>
#include <cstdio>

namespace {

QList<QByteArray> generatedStream(int events)
{
    QList<QByteArray> lines;
    lines << "event: message_start" << "data: " + FakeReply::messageStart() << "";
    // Four blocks: thinking, text with citations, tool input, text; the
    // deltas go round them.
    lines << R"(data: {"type":"content_block_start","index":0,"content_block":{"type":"thinking","thinking":""}})"
          << R"(data: {"type":"content_block_start","index":1,"content_block":{"type":"text","text":""}})"
          << R"(data: {"type":"content_block_start","index":2,"content_block":{"type":"tool_use","id":"toolu_1","name":"search_library","input":{}}})"
          << R"(data: {"type":"content_block_start","index":3,"content_block":{"type":"text","text":""}})";
    for (int i = 0; lines.size() < events * 2; ++i) {
        switch (i % 5) {
        case 0:
            lines << R"(data: {"type":"content_block_delta","index":0,"delta":{"type":"thinking_delta","thinking":"Looking at the files in the library and weighing them. "}})";
            break;
        case 1:
        case 4:
            lines << R"(data: {"type":"content_block_delta","index":1,"delta":{"type":"text_delta","text":"The lease renewal is in Documents/Housing, "}})";
            break;
        case 2:
            lines << R"(data: {"type":"content_block_delta","index":2,"delta":{"type":"input_json_delta","partial_json":"{\"query\": \"lease \", "}})";
            break;
        case 3:
            lines << R"(data: {"type":"content_block_delta","index":3,"delta":{"type":"text_delta","text":"signed in March."}})";
            break;
        }
        lines << "";
    }
    lines << "data: " + FakeReply::messageDelta("end_turn", 5000) << "data: " + FakeReply::messageStop();
    return lines;
}

QByteArray joined(const QList<QByteArray> &lines)
{
    QByteArray bytes;
    for (const QByteArray &line : lines)
        bytes += line + "\n";
    return bytes;
}

double median(QList<double> values)
{
    std::sort(values.begin(), values.end());
    return values.isEmpty() ? 0 : values.at(values.size() / 2);
}

double percentile(QList<double> values, double fraction)
{
    std::sort(values.begin(), values.end());
    return values.isEmpty() ? 0 : values.at(std::min<qsizetype>(values.size() - 1, qsizetype(fraction * values.size())));
}

void benchmarkFolding(QTextStream &out)
{
    constexpr int eventCount = 10000;
    const QByteArray bytes = joined(generatedStream(eventCount));
    QList<double> rates;
    qsizetype contentBlocks = 0;
    for (int round = 0; round < 15; ++round) {
        QElapsedTimer timer;
        timer.start();
        MessageAccumulator accumulator;
        LineSplitter lines;
        int applied = 0;
        // Fed in network-sized pieces, as the transfer hands them over.
        for (qsizetype at = 0; at < bytes.size(); at += 1400) {
            lines.feed(QByteArrayView(bytes).sliced(at, std::min<qsizetype>(1400, bytes.size() - at)), [&](QByteArrayView line) {
                if (const std::optional<JSONValue> event = MessageAccumulator::eventFromLine(line)) {
                    accumulator.apply(*event);
                    ++applied;
                }
            });
        }
        contentBlocks = accumulator.finish().content.size();
        rates << applied / (timer.nsecsElapsed() / 1e9);
    }
    out << "stream folding: " << eventCount << " events (" << bytes.size() / 1024 << " KiB, " << contentBlocks
        << " blocks), median " << qRound64(median(rates)) << " events/s, best " << qRound64(*std::max_element(rates.begin(), rates.end()))
        << " events/s\n";
}

size_t discard(char *, size_t size, size_t count, void *)
{
    return size * count;
}

// The reference: one POST with the same headers and body through a fresh
// libcurl handle, as little as a client can do.
void bareCurlRequest(const HTTPRequest &request)
{
    CURL *easy = curl_easy_init();
    curl_slist *headers = nullptr;
    for (const auto &[name, value] : request.headers)
        headers = curl_slist_append(headers, QByteArray(name + ": " + value).constData());
    curl_easy_setopt(easy, CURLOPT_URL, request.url.constData());
    curl_easy_setopt(easy, CURLOPT_HTTPHEADER, headers);
    curl_easy_setopt(easy, CURLOPT_POSTFIELDS, request.body.constData());
    curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE_LARGE, curl_off_t(request.body.size()));
    curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, discard);
    curl_easy_perform(easy);
    curl_slist_free_all(headers);
    curl_easy_cleanup(easy);
}

void benchmarkLatency(QTextStream &out)
{
    constexpr int requests = 300;
    FakeClaudeServer server;
    const ClaudeClient client([] { return QStringLiteral("sk-bench"); }, server.clientOptions());
    MessageRequest request;
    request.model = QStringLiteral("claude-haiku-5-5");
    request.maxTokens = 4000;
    request.system = QStringLiteral("Answer in one line.");
    request.messages = {userMessage(QStringLiteral("Where is my lease?"))};
    const HTTPRequest http = client.messagesRequest(request, ClaudeClient::Delivery::whole);
    const FakeReply answer = FakeReply::message(QStringLiteral("In Documents/Housing."));

    QList<double> clientTimes;
    QList<double> curlTimes;
    for (int i = 0; i < requests + 20; ++i) {
        server.enqueue(answer, 2);
        QElapsedTimer timer;
        timer.start();
        client.send(request);
        const double clientMs = timer.nsecsElapsed() / 1e6;
        timer.restart();
        bareCurlRequest(http);
        const double curlMs = timer.nsecsElapsed() / 1e6;
        if (i >= 20) { // the first ones warm up the server's threads
            clientTimes << clientMs;
            curlTimes << curlMs;
        }
    }
    const double clientMedian = median(clientTimes);
    const double curlMedian = median(curlTimes);
    out << "request latency over " << requests << " requests on 127.0.0.1:\n"
        << "  ClaudeClient::send  p50 " << QString::number(clientMedian, 'f', 3) << " ms, p95 "
        << QString::number(percentile(clientTimes, 0.95), 'f', 3) << " ms\n"
        << "  bare libcurl POST   p50 " << QString::number(curlMedian, 'f', 3) << " ms, p95 "
        << QString::number(percentile(curlTimes, 0.95), 'f', 3) << " ms\n"
        << "  added by the client " << QString::number(clientMedian - curlMedian, 'f', 3) << " ms a request (ratio "
        << QString::number(clientMedian / curlMedian, 'f', 2) << ")\n";
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QTextStream out(stdout);
    benchmarkFolding(out);
    out.flush();
    benchmarkLatency(out);
    return 0;
}
