// Folding a streamed answer (server-sent events) into the same finished
// message a plain request would have returned, with small updates for the
// screen on the way.
#pragma once

#include "claude/ClaudeMessage.h"

#include <QByteArray>

#include <map>
#include <variant>

struct StreamUpdate
{
    enum class Kind { textDelta, toolUse, message, thinking };

    Kind kind = Kind::thinking;
    QString text; // textDelta: the piece; toolUse: the tool's name, maybe empty
    ClaudeMessage message; // message: the finished message

    static StreamUpdate textDelta(QString piece) { return {Kind::textDelta, std::move(piece), {}}; }
    static StreamUpdate toolUse(QString name) { return {Kind::toolUse, std::move(name), {}}; }
    static StreamUpdate finished(ClaudeMessage message) { return {Kind::message, {}, std::move(message)}; }
    static StreamUpdate thinking() { return {Kind::thinking, {}, {}}; }

    friend bool operator==(const StreamUpdate &, const StreamUpdate &) = default;
};

class MessageAccumulator
{
public:
    // Folds one parsed event in. Throws ClaudeError::http for a server
    // "error" event; malformed events are skipped, never an error.
    std::optional<StreamUpdate> apply(const JSONValue &event);
    // The message with its blocks finished in index order.
    ClaudeMessage finish() const;

    // Frames one line of the event stream: the JSON after "data:", or nothing
    // for any other line, an empty payload, or a payload that isn't JSON.
    static std::optional<JSONValue> eventFromLine(QByteArrayView line);

private:
    struct Block
    {
        JSONValue start;
        QString text;
        QString thinking;
        std::optional<QString> signature;
        QString partialJSON;
        JSONValue::Array citations;

        JSONValue finished() const;
    };

    ClaudeMessage m_message;
    std::map<qint64, Block> m_blocks;
    std::optional<double> m_outputTokens;
};

// Splits a byte stream into lines ending in "\n" (an "\r" before it is
// dropped), for the event stream's framing. A line longer than the limit is
// dropped whole rather than held in memory, as any other malformed line is.
class LineSplitter
{
public:
    explicit LineSplitter(qsizetype lineLimit = 16 * 1024 * 1024)
        : m_lineLimit(lineLimit)
    {
    }

    // Calls onLine for every complete line in the bytes so far.
    template<typename OnLine>
    void feed(QByteArrayView bytes, OnLine &&onLine)
    {
        m_pending.append(bytes);
        qsizetype from = 0;
        for (;;) {
            const qsizetype end = m_pending.indexOf('\n', from);
            if (end < 0)
                break;
            qsizetype length = end - from;
            if (length > 0 && m_pending.at(end - 1) == '\r')
                --length;
            // However the bytes were cut into chunks, a line past the limit is dropped.
            if (!m_overlong && length <= m_lineLimit)
                onLine(QByteArrayView(m_pending).sliced(from, length));
            m_overlong = false;
            from = end + 1;
        }
        m_pending.remove(0, from);
        // One byte more than the limit may be the "\r" of a line that fits.
        if (m_pending.size() > m_lineLimit + 1) {
            m_pending.clear();
            m_overlong = true;
        }
    }
    // The last line, when the stream ended without a newline after it.
    template<typename OnLine>
    void finish(OnLine &&onLine)
    {
        if (m_pending.endsWith('\r'))
            m_pending.chop(1);
        if (!m_pending.isEmpty() && !m_overlong && m_pending.size() <= m_lineLimit)
            onLine(QByteArrayView(m_pending));
        m_pending.clear();
        m_overlong = false;
    }

private:
    QByteArray m_pending;
    qsizetype m_lineLimit;
    bool m_overlong = false; // the line being read passed the limit
};
