#include "session/NoteEnhancer.h"

#include "claude/ClaudeClient.h"
#include "core/Format.h"
#include "meetings/MeetingText.h"

namespace {

using namespace Qt::StringLiterals;

const char *const notesPrompt =
    "You write meeting notes for the person who took part in the meeting. You get their own shorthand notes, "
    "taken during the meeting, and the transcript. In the transcript \"You\" is the person and \"Them\" is "
    "everyone else on the call.\n"
    "\n"
    "- Their shorthand shows what they care about. Every point in it must appear in your notes, rewritten as a "
    "clear bullet using details from the transcript. Give those bullets origin \"user\".\n"
    "- Add the important things they didn't write down, such as decisions, figures, dates and commitments, with "
    "origin \"ai\". Skip small talk and anything they wouldn't need later.\n"
    "- Group bullets under short topic headings, in the order the topics came up.\n"
    "- decisions lists what was agreed. action_items lists concrete tasks someone committed to, with owner "
    "(\"You\", a name, or \"\") and due (\"\" when no date was given).\n"
    "- title is a specific meeting title of at most 6 words. If they already gave the meeting a title, keep it.\n"
    "- summary is one or two sentences.\n"
    "- Only state what the notes or transcript support. If there's no transcript, work from the notes alone.\n"
    "\n"
    "Keep it brief: notes someone can scan in thirty seconds.";

const JSONValue &notesSchema()
{
    static const JSONValue schema = JSONValue::parse(
        R"({"type":"object","additionalProperties":false,)"
        R"("required":["title","summary","sections","decisions","action_items"],"properties":{)"
        R"("title":{"type":"string"},)"
        R"("summary":{"type":"string"},)"
        R"("sections":{"type":"array","items":{"type":"object","additionalProperties":false,)"
        R"("required":["heading","bullets"],"properties":{)"
        R"("heading":{"type":"string"},)"
        R"("bullets":{"type":"array","items":{"type":"object","additionalProperties":false,)"
        R"("required":["text","origin"],"properties":{)"
        R"("text":{"type":"string"},)"
        R"("origin":{"type":"string","enum":["user","ai"]}}}}}}},)"
        R"("decisions":{"type":"array","items":{"type":"string"}},)"
        R"("action_items":{"type":"array","items":{"type":"object","additionalProperties":false,)"
        R"("required":["task","owner","due"],"properties":{)"
        R"("task":{"type":"string"},)"
        R"("owner":{"type":"string"},)"
        R"("due":{"type":"string"}}}}}})");
    return schema;
}

QString requestText(const Meeting &meeting, const QList<TranscriptSegment> &segments, const QLocale &locale)
{
    const QString transcript = transcriptText(segments);
    const QString notes = meeting.userNotes.trimmed();
    return u"Meeting title: "_s + (meeting.title.trimmed().isEmpty() ? u"(none yet)"_s : meeting.title) + u"\nDate: "_s
        + Format::completeDate(meeting.started, locale) + u", "_s + Format::shortTime(meeting.started, locale)
        + u"\n\n<my_notes>\n"_s + (notes.isEmpty() ? u"(no notes taken)"_s : notes)
        + u"\n</my_notes>\n\n<transcript>\n"_s + (transcript.isEmpty() ? u"(no transcript)"_s : transcript)
        + u"\n</transcript>"_s;
}

} // namespace

NoteEnhancer::NoteEnhancer(const ClaudeClient &client, QString model)
    : m_client(client)
    , m_model(std::move(model))
{
}

MessageRequest NoteEnhancer::request(const Meeting &meeting, const QList<TranscriptSegment> &segments,
                                     const QLocale &locale) const
{
    MessageRequest request;
    request.model = m_model;
    request.maxTokens = noteTokens;
    request.system = QString::fromUtf8(notesPrompt);
    request.messages = {userMessage(requestText(meeting, segments, locale))};
    request.effort = u"medium"_s;
    request.outputSchema = notesSchema();
    request.cacheSystemPrompt = false;
    return request;
}

EnhancedNotes NoteEnhancer::enhance(const Meeting &meeting, const QList<TranscriptSegment> &segments,
                                    const CancellationToken &token) const
{
    return m_client.structured<EnhancedNotes>(request(meeting, segments, Format::locale()), token);
}

void adoptNotes(Meeting &meeting, const EnhancedNotes &notes, const QDateTime &at)
{
    meeting.enhanced = notes;
    meeting.enhancedAt = at;
    if (meeting.title.trimmed().isEmpty())
        meeting.title = notes.title;
}
