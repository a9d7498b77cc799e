#include "ask/AskAgent.h"

#include "claude/ClaudeClient.h"
#include "core/DownloadSources.h"
#include "core/Format.h"
#include "meetings/MeetingStore.h"
#include "meetings/MeetingText.h"
#include "search/LocalQueryParser.h"
#include "store/IndexStore.h"

#include <QDir>

namespace {

constexpr qint64 answerTokens = 16000;
constexpr int passagesPerSearch = 8;
constexpr int filesPerListing = 20;

QString quoted(const QString &text)
{
    return u'“' + text + u'”';
}

QDateTime dateOf(double seconds)
{
    return QDateTime::fromMSecsSinceEpoch(qint64(seconds * 1000.0));
}

QString passageLabel(Citation::Kind kind)
{
    switch (kind) {
    case Citation::Kind::file:
        return QStringLiteral("File");
    case Citation::Kind::note:
        return QStringLiteral("Meeting notes");
    case Citation::Kind::transcript:
        return QStringLiteral("Transcript");
    }
    return QStringLiteral("File");
}

QString sourceName(const QString &id)
{
    if (KnownSource::byID().contains(id))
        return KnownSource::byID().value(id).title;
    if (id.startsWith(QLatin1String("web:")))
        return id.mid(4);
    return id;
}

JSONValue toolResult(const QString &id, const QString &text, bool isError)
{
    return JSONValue::object({{QStringLiteral("type"), QStringLiteral("tool_result")},
                              {QStringLiteral("tool_use_id"), id},
                              {QStringLiteral("content"), text},
                              {QStringLiteral("is_error"), isError}});
}

JSONValue tool(const char *name, const char *description, const QByteArray &schema)
{
    return JSONValue::object({{QStringLiteral("name"), name},
                              {QStringLiteral("description"), description},
                              {QStringLiteral("eager_input_streaming"), true},
                              {QStringLiteral("input_schema"), JSONValue::parse(schema)}});
}

} // namespace

QString stepLabel(const ToolUse &use)
{
    if (use.name == QLatin1String("search_library"))
        return QStringLiteral("Searched for ")
            + quoted(use.input[QStringLiteral("query")].stringValue().value_or(QString()));
    if (use.name == QLatin1String("find_files"))
        return QStringLiteral("Listed ") + use.input[QStringLiteral("query")].stringValue().value_or(QStringLiteral("files"));
    if (use.name == QLatin1String("get_meeting"))
        return QStringLiteral("Read meeting notes");
    return use.name;
}

AskAgent::AskAgent(const ClaudeClient &client, ModelName model, IndexStore &store, MeetingStore &meetings, Clock now)
    : m_client(client)
    , m_model(std::move(model))
    , m_store(store)
    , m_meetings(meetings)
    , m_now(std::move(now))
    , m_retriever(store, meetings)
    , m_search(store)
{
}

const QList<JSONValue> &AskAgent::toolDefinitions()
{
    static const QList<JSONValue> tools{
        tool("search_library",
             "Full-text search over the person's indexed files (including OCR text from images and scanned PDFs), "
             "meeting notes and meeting transcripts. Returns short excerpts, each with a citation id like S4. Use "
             "words that would literally appear in the text.",
             R"({"type":"object","properties":{"query":{"type":"string","description":"Words or a short phrase to look for"},)"
             R"("scope":{"type":"string","enum":["all","files","meetings"]}},"required":["query","scope"]})"),
        tool("find_files",
             "Lists files by metadata without reading their contents. Understands plain English such as 'pdfs from "
             "last week', 'screenshots from yesterday', 'videos over 1 GB' or 'files downloaded from gmail'. Use it "
             "for what files exist, when something was downloaded, or how large things are.",
             R"({"type":"object","properties":{"query":{"type":"string"}},"required":["query"]})"),
        tool("get_meeting", "Returns the notes and transcript of one meeting, by the meeting_id shown in search results.",
             R"({"type":"object","properties":{"meeting_id":{"type":"string"}},"required":["meeting_id"]})"),
    };
    return tools;
}

QString AskAgent::systemPrompt(const QDateTime &today)
{
    return QStringLiteral(
               "You are Larder, an assistant on the person's computer. You answer questions using their own files, "
               "meeting notes and meeting transcripts, which you reach through the tools. Today is ")
        + Format::completeDate(today, Format::locale())
        + QStringLiteral(
            ".\n\n- Look things up before answering anything about their documents, meetings or files. If a search "
            "comes back thin, try other words: synonyms, provider or company names, likely file names.\n- Cite every "
            "fact that comes from a tool result inline with its id in square brackets, like [S2]. Only cite ids you "
            "were given.\n- If you can't find it, say so in one sentence and suggest what they could search for.\n- "
            "Don't narrate your searches; the app already shows them. Answer directly and briefly, and use a short "
            "list only when it genuinely helps.");
}

void AskAgent::reset()
{
    m_history.clear();
    m_citations.clear();
    m_conversation.reset();
}

void AskAgent::run(const QString &question, const EventSink &sink, const CancellationToken &token)
{
    // The prompt's date and the model stay those of the conversation's first
    // question, so a conversation reads the same from turn to turn.
    if (!m_conversation)
        m_conversation = Conversation{systemPrompt(m_now()), m_model()};
    const qsizetype historyMark = m_history.size();
    const qsizetype citationMark = m_citations.size();
    // A turn that doesn't finish leaves no trace: a retry starts clean, and
    // the numbers it gave out are free again.
    const auto rollBack = [&] {
        m_history.resize(historyMark);
        m_citations.resize(citationMark);
    };
    m_history.append(userMessage(question));

    try {
        for (int step = 0;; ++step) {
            MessageRequest request;
            request.model = m_conversation->model;
            request.system = m_conversation->system;
            request.maxTokens = answerTokens;
            request.messages = m_history;
            request.tools = toolDefinitions();
            request.effort = QStringLiteral("medium");
            request.cacheSystemPrompt = true;
            const ClaudeMessage message = m_client.streamMessage(
                request, [&](const QString &piece) { sink(AskEvent::draft(piece)); }, token);

            if (message.stopReason == QLatin1String("refusal")) {
                rollBack();
                const JSONValue details = message.stopDetails.value_or(JSONValue());
                sink(AskEvent::failed(ClaudeError::refusal(details[QStringLiteral("category")].stringValue()).description()));
                return;
            }
            if (message.stopReason == QLatin1String("max_tokens")) {
                rollBack();
                sink(AskEvent::failed(ClaudeError::truncated().description()));
                return;
            }
            m_history.append(JSONValue::object(
                {{QStringLiteral("role"), QStringLiteral("assistant")}, {QStringLiteral("content"), message.replayContent()}}));
            const QList<ToolUse> uses = message.toolUses();
            if (message.stopReason != QLatin1String("tool_use") || uses.isEmpty()) {
                sink(AskEvent::finished());
                return;
            }

            QStringList labels;
            for (const ToolUse &use : uses)
                labels.append(stepLabel(use));
            sink(AskEvent::step(labels.join(QStringLiteral(" · "))));
            JSONValue::Array results;
            for (const ToolUse &use : uses) {
                const ToolResult result = runTool(use, sink);
                results.append(toolResult(use.id, result.text, result.isError));
            }
            m_history.append(JSONValue::object(
                {{QStringLiteral("role"), QStringLiteral("user")}, {QStringLiteral("content"), results}}));
            if (token.isCancelled())
                throw CancellationError();
            if (step == maxSteps - 1) {
                rollBack();
                sink(AskEvent::failed(
                    QStringLiteral("Stopped after %1 lookups without a final answer.").arg(maxSteps)));
                return;
            }
        }
    } catch (const CancellationError &) {
        rollBack();
    } catch (const DescribedError &error) {
        rollBack();
        sink(AskEvent::failed(error.description()));
    } catch (const std::exception &error) {
        rollBack();
        sink(AskEvent::failed(QString::fromLocal8Bit(error.what())));
    }
}

AskAgent::ToolResult AskAgent::runTool(const ToolUse &use, const EventSink &sink)
{
    if (!use.isValid)
        return {QStringLiteral("The tool input wasn't valid JSON. Call the tool again with a JSON object."), true};
    try {
        if (use.name == QLatin1String("search_library"))
            return searchLibrary(use.input, sink);
        if (use.name == QLatin1String("find_files"))
            return findFiles(use.input, sink);
        if (use.name == QLatin1String("get_meeting"))
            return readMeeting(use.input, sink);
        return {QStringLiteral("Unknown tool ") + use.name, true};
    } catch (const DescribedError &error) {
        // Claude decides what to do without this lookup.
        return {QStringLiteral("The lookup failed: ") + error.description(), true};
    }
}

AskAgent::ToolResult AskAgent::searchLibrary(const JSONValue &input, const EventSink &sink)
{
    const QString query = input[QStringLiteral("query")].stringValue().value_or(QString());
    if (query.isEmpty())
        return {QStringLiteral("query is required"), true};
    const QString scope = input[QStringLiteral("scope")].stringValue().value_or(QString());
    QSet<Citation::Kind> kinds{Citation::Kind::file, Citation::Kind::note, Citation::Kind::transcript};
    if (scope == QLatin1String("files"))
        kinds = {Citation::Kind::file};
    else if (scope == QLatin1String("meetings"))
        kinds = {Citation::Kind::note, Citation::Kind::transcript};

    const QList<RetrievedPassage> passages = m_retriever.retrieve(query, kinds, std::nullopt, passagesPerSearch);
    if (passages.isEmpty())
        return {QStringLiteral("No matches for ") + quoted(query) + u'.', false};
    QStringList blocks;
    for (const RetrievedPassage &passage : passages) {
        const Citation &citation = passage.citation;
        const QString suffix = citation.kind == Citation::Kind::file
            ? QString()
            : QStringLiteral(" (meeting_id: ") + citation.ownerID + u')';
        blocks.append(QStringLiteral("[S%1] ").arg(sourceNumber(citation, sink)) + passageLabel(citation.kind)
                      + QStringLiteral(": ") + citation.title + QStringLiteral(" — ") + citation.detail + suffix
                      + u'\n' + passage.text);
    }
    return {blocks.join(QStringLiteral("\n\n")), false};
}

AskAgent::ToolResult AskAgent::findFiles(const JSONValue &input, const EventSink &sink)
{
    const auto query = input[QStringLiteral("query")].stringValue();
    if (!query)
        return {QStringLiteral("query is required"), true};
    const SearchQuery parsed = LocalQueryParser(m_now()).parse(*query);
    const QList<FileHit> hits = m_search.search(parsed, filesPerListing);
    if (hits.isEmpty())
        return {QStringLiteral("No files match ") + quoted(*query) + u'.', false};

    const QString home = QDir::homePath();
    const QLocale locale = Format::locale();
    QStringList lines;
    for (const FileHit &hit : hits) {
        const FileRecord &file = hit.file;
        const QString folder = Format::folderOf(file.path, home);
        const int number = sourceNumber({Citation::Kind::file, QString::number(file.id), file.name, folder, {}}, sink);
        QString line = QStringLiteral("[S%1] ").arg(number) + file.name + QStringLiteral(" — ") + folder
            + QStringLiteral(" — ") + fileKindWord(file.kind) + QStringLiteral(", ") + Format::byteCount(file.size, locale);
        if (file.modified)
            line += QStringLiteral(", modified ") + Format::date(dateOf(*file.modified), locale);
        if (file.added)
            line += QStringLiteral(", added ") + Format::date(dateOf(*file.added), locale);
        if (file.sourceID)
            line += QStringLiteral(", from ") + sourceName(*file.sourceID);
        lines.append(line);
    }
    return {lines.join(u'\n'), false};
}

AskAgent::ToolResult AskAgent::readMeeting(const JSONValue &input, const EventSink &sink)
{
    const auto id = input[QStringLiteral("meeting_id")].stringValue();
    const std::optional<Meeting> meeting = id ? m_meetings.meeting(*id) : std::nullopt;
    if (!meeting)
        return {QStringLiteral("No meeting with that id."), true};
    const QLocale locale = Format::locale();
    const int number = sourceNumber(
        {Citation::Kind::note, meeting->id, meeting->displayTitle(), Format::dateTime(meeting->started, locale), {}},
        sink);
    const QString notes = meeting->enhanced ? meeting->enhanced->markdown(meeting->started, locale) : meeting->userNotes;
    QString transcript = transcriptText(m_meetings.segments(meeting->id));
    if (transcript.size() > transcriptLimit)
        transcript = transcript.left(transcriptLimit) + QStringLiteral("\n[transcript continues; ask about a specific topic]");
    return {QStringLiteral("[S%1] ").arg(number) + meeting->displayTitle() + QStringLiteral("\n\nNotes:\n")
                + (notes.isEmpty() ? QStringLiteral("(none)") : notes) + QStringLiteral("\n\nTranscript:\n")
                + (transcript.isEmpty() ? QStringLiteral("(none)") : transcript),
            false};
}

int AskAgent::sourceNumber(const Citation &citation, const EventSink &sink)
{
    // One number a file or meeting source for the whole conversation; the
    // first sighting's title and excerpt stand.
    for (qsizetype i = 0; i < m_citations.size(); ++i) {
        if (m_citations.at(i).kind == citation.kind && m_citations.at(i).ownerID == citation.ownerID)
            return int(i + 1);
    }
    m_citations.append(citation);
    sink(AskEvent::cited(int(m_citations.size()), citation));
    return int(m_citations.size());
}
