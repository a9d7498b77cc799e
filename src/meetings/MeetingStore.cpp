#include "meetings/MeetingStore.h"

#include "meetings/MeetingText.h"
#include "store/IndexStore.h"
#include "store/PassageChunker.h"

#include <QUuid>

namespace {

QDateTime dateOf(double seconds)
{
    return QDateTime::fromMSecsSinceEpoch(qint64(seconds * 1000.0));
}

std::optional<QDateTime> optionalDate(const std::optional<double> &seconds)
{
    if (!seconds)
        return std::nullopt;
    return dateOf(*seconds);
}

std::optional<double> secondsOf(const std::optional<QDateTime> &date)
{
    if (!date)
        return std::nullopt;
    return double(date->toMSecsSinceEpoch()) / 1000.0;
}

// Each column falls back on its own, so a damaged row still loads; notes that
// don't decode are dropped without a word and the rest of the row stands.
Meeting decodeMeeting(const SQLRow &row)
{
    Meeting meeting;
    meeting.id = row.string(QStringLiteral("id")).value_or(QString());
    meeting.title = row.string(QStringLiteral("title")).value_or(QString());
    const auto started = row.date(QStringLiteral("started"));
    meeting.started = started ? dateOf(*started) : QDateTime::currentDateTime();
    meeting.ended = optionalDate(row.date(QStringLiteral("ended")));
    meeting.userNotes = row.string(QStringLiteral("user_notes")).value_or(QString());
    if (const auto json = row.string(QStringLiteral("enhanced_json"))) {
        try {
            meeting.enhanced = EnhancedNotes::fromJSON(json->toUtf8());
        } catch (const DescribedError &) {
            meeting.enhanced = std::nullopt;
        }
    }
    meeting.enhancedAt = optionalDate(row.date(QStringLiteral("enhanced_at")));
    meeting.locale = row.string(QStringLiteral("locale"));
    return meeting;
}

} // namespace

MeetingStore::MeetingStore(IndexStore &store)
    : m_store(store)
{
}

void MeetingStore::insert(const QString &id, const QDateTime &started, const std::optional<QString> &locale)
{
    m_store.meetingRows().insertMeeting(id, QString(), *secondsOf(started), locale);
}

std::optional<Meeting> MeetingStore::meeting(const QString &id) const
{
    const QList<SQLRow> rows = m_store.meetingRows().meeting(id);
    if (rows.isEmpty())
        return std::nullopt;
    return decodeMeeting(rows.first());
}

QList<Meeting> MeetingStore::recentMeetings(int limit) const
{
    QList<Meeting> meetings;
    for (const SQLRow &row : m_store.meetingRows().recentMeetings(limit))
        meetings.append(decodeMeeting(row));
    return meetings;
}

void MeetingStore::update(const Meeting &meeting)
{
    std::optional<QString> enhancedJSON;
    if (meeting.enhanced)
        enhancedJSON = QString::fromUtf8(meeting.enhanced->json().serialized());
    m_store.meetingRows().updateMeeting({meeting.id, meeting.title, secondsOf(meeting.ended), meeting.userNotes,
                                         enhancedJSON, secondsOf(meeting.enhancedAt)});
}

void MeetingStore::setStarted(const QString &id, const QDateTime &started)
{
    m_store.meetingRows().setMeetingStarted(id, *secondsOf(started));
}

void MeetingStore::deleteMeeting(const QString &id)
{
    m_store.meetingRows().deleteMeeting(id);
}

QList<TranscriptSegment> MeetingStore::segments(const QString &meetingID) const
{
    QList<TranscriptSegment> segments;
    for (const SQLRow &row : m_store.meetingRows().segments(meetingID)) {
        TranscriptSegment segment;
        segment.id = row.integer(QStringLiteral("id")).value_or(0);
        segment.meetingID = meetingID;
        segment.speaker = speakerFromRawValue(row.string(QStringLiteral("speaker")).value_or(QString()));
        segment.start = row.real(QStringLiteral("start")).value_or(0);
        segment.end = row.real(QStringLiteral("end")).value_or(0);
        segment.text = row.string(QStringLiteral("text")).value_or(QString());
        segments.append(segment);
    }
    return segments;
}

qint64 MeetingStore::insertSegment(const TranscriptSegment &segment)
{
    return m_store.meetingRows().insertSegment(segment.meetingID, speakerRawValue(segment.speaker), segment.start,
                                               segment.end, segment.text);
}

void MeetingStore::save(const LiveAnswer &answer)
{
    JSONValue::Array citations;
    for (const Citation &citation : answer.citations)
        citations.append(citation.json());
    m_store.meetingRows().saveLiveAnswer(answer.id, answer.meetingID, answer.question, answer.answer,
                                         QString::fromUtf8(JSONValue(citations).serialized()),
                                         *secondsOf(answer.created));
}

QList<LiveAnswer> MeetingStore::liveAnswers(const QString &meetingID) const
{
    QList<LiveAnswer> answers;
    for (const SQLRow &row : m_store.meetingRows().liveAnswers(meetingID)) {
        LiveAnswer answer;
        answer.id = row.string(QStringLiteral("id")).value_or(QUuid::createUuid().toString(QUuid::WithoutBraces));
        answer.meetingID = meetingID;
        answer.question = row.string(QStringLiteral("question")).value_or(QString());
        answer.answer = row.string(QStringLiteral("answer")).value_or(QString());
        try {
            answer.citations = decodeJSON<QList<Citation>>(
                JSONValue::parse(row.string(QStringLiteral("citations_json")).value_or(QString()).toUtf8()),
                QString());
        } catch (const DescribedError &) {
            answer.citations.clear();
        }
        const auto created = row.date(QStringLiteral("created"));
        answer.created = created ? dateOf(*created) : QDateTime::currentDateTime();
        answers.append(answer);
    }
    return answers;
}

void MeetingStore::indexPassages(const Meeting &meeting, const QLocale &locale) const
{
    MeetingRows rows = m_store.meetingRows();
    const QString title = meeting.displayTitle();
    QStringList notes;
    if (!meeting.userNotes.isEmpty())
        notes.append(meeting.userNotes);
    if (meeting.enhanced)
        notes.append(meeting.enhanced->markdown(meeting.started, locale));
    rows.replacePassages(QStringLiteral("note"), meeting.id, title, splitIntoPassages(notes.join(QStringLiteral("\n\n"))));
    rows.replacePassages(QStringLiteral("transcript"), meeting.id, title,
                         splitIntoPassages(transcriptText(segments(meeting.id))));
}
