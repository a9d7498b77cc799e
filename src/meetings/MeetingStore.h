// Meetings as the library keeps them: the meeting rows, their transcript
// segments, the answers given during calls, and the meeting passages that
// make notes and transcripts findable beside files. No cache and no state:
// every call reads or writes the library. Operations throw the store's
// SQLiteError.
#pragma once

#include "meetings/MeetingModels.h"

#include <QLocale>

class IndexStore;

class MeetingStore
{
public:
    explicit MeetingStore(IndexStore &store);

    // A new meeting row with an empty title.
    void insert(const QString &id, const QDateTime &started, const std::optional<QString> &locale);

    std::optional<Meeting> meeting(const QString &id) const;
    // Newest first.
    QList<Meeting> recentMeetings(int limit) const;
    // Writes the title, end, notes and Claude's notes; throws JSONError before
    // anything is written when the notes can't be encoded.
    void update(const Meeting &meeting);
    // The start of a meeting moves to that of its first recording.
    void setStarted(const QString &id, const QDateTime &started);
    // The meeting, its passages, segments and answers. An unknown id changes
    // nothing.
    void deleteMeeting(const QString &id);

    // Ordered by start.
    QList<TranscriptSegment> segments(const QString &meetingID) const;
    // The new row id.
    qint64 insertSegment(const TranscriptSegment &segment);

    // Stores the answer, replacing one of the same id.
    void save(const LiveAnswer &answer);
    // Ordered by creation.
    QList<LiveAnswer> liveAnswers(const QString &meetingID) const;

    // Replaces the meeting's note passages (the user's notes and Claude's)
    // and then its transcript passages. The notes stand even when the
    // transcript then fails.
    void indexPassages(const Meeting &meeting, const QLocale &locale = QLocale()) const;

private:
    IndexStore &m_store;
};
