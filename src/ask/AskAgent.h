// Claude in a tool loop over the user's own library. Given a question it lets
// Claude search passages, list files by their facts and read meetings, as
// often as it needs up to a limit, streams the answer out as it comes, and
// numbers every source a tool showed so that the answer's [S3] marks lead to
// real files and meetings. One agent holds one conversation at a time.
#pragma once

#include "ask/LibraryRetriever.h"
#include "claude/ClaudeMessage.h"
#include "core/Tasks.h"
#include "search/SearchEngine.h"

#include <QDateTime>

#include <functional>
#include <optional>

class ClaudeClient;

// What a run reports, in order of arrival.
struct AskEvent
{
    enum class Type {
        draft, // a piece of answer text
        step, // what the agent is doing now; one a round of tool calls
        citation, // a source got its number for the first time
        failed, // the run ended with this message for the user
        done, // the run ended normally
    };

    Type type = Type::done;
    QString text; // the draft's piece, the step's note, the failure's message
    int number = 0; // of a citation
    Citation citation;

    static AskEvent draft(const QString &text) { return {Type::draft, text, 0, {}}; }
    static AskEvent step(const QString &note) { return {Type::step, note, 0, {}}; }
    static AskEvent cited(int number, const Citation &citation) { return {Type::citation, {}, number, citation}; }
    static AskEvent failed(const QString &message) { return {Type::failed, message, 0, {}}; }
    static AskEvent finished() { return {Type::done, {}, 0, {}}; }

    friend bool operator==(const AskEvent &, const AskEvent &) = default;
};

class AskAgent
{
public:
    using ModelName = std::function<QString()>;
    using Clock = std::function<QDateTime()>;
    using EventSink = std::function<void(const AskEvent &)>;

    // model is asked once a conversation, at its first question.
    AskAgent(const ClaudeClient &client, ModelName model, IndexStore &store, MeetingStore &meetings,
             Clock now = &QDateTime::currentDateTime);

    // Answers the question within the conversation so far, reporting through
    // sink on the calling thread; blocks until the run ends. Every ending is
    // an event, except cancellation, which ends it silently. A run that
    // doesn't finish leaves the conversation as it was before the question.
    void run(const QString &question, const EventSink &sink, const CancellationToken &token);
    // Starts a new conversation. Never during a run.
    void reset();

    // The Messages API messages of the conversation so far.
    const QList<JSONValue> &history() const { return m_history; }
    // Sources handed out so far; a source's number is its place plus one.
    const QList<Citation> &citations() const { return m_citations; }

    // The three tools offered to Claude.
    static const QList<JSONValue> &toolDefinitions();
    // The instructions to Claude, dated.
    static QString systemPrompt(const QDateTime &today);

    static constexpr int maxSteps = 8;
    // A transcript longer than this reaches Claude cut, with a note.
    static constexpr int transcriptLimit = 40000;

private:
    struct ToolResult
    {
        QString text;
        bool isError = false;
    };
    struct Conversation
    {
        QString system;
        QString model;
    };

    ToolResult runTool(const ToolUse &use, const EventSink &sink);
    ToolResult searchLibrary(const JSONValue &input, const EventSink &sink);
    ToolResult findFiles(const JSONValue &input, const EventSink &sink);
    ToolResult readMeeting(const JSONValue &input, const EventSink &sink);
    // The source's number; a new one is reported through sink.
    int sourceNumber(const Citation &citation, const EventSink &sink);

    const ClaudeClient &m_client;
    ModelName m_model;
    IndexStore &m_store;
    MeetingStore &m_meetings;
    Clock m_now;
    LibraryRetriever m_retriever;
    SearchEngine m_search;

    QList<JSONValue> m_history;
    QList<Citation> m_citations;
    std::optional<Conversation> m_conversation;
};

// The label of a tool call as the user sees it: "Searched for “lease”".
QString stepLabel(const ToolUse &use);
