#include "store/MeetingRows.h"

#include "store/PassageIndex.h"

MeetingRows::MeetingRows(std::shared_ptr<SQLiteDatabase> db)
    : m_db(std::move(db))
{
}

void MeetingRows::insertMeeting(const QString &id, const QString &title, double started,
                                const std::optional<QString> &locale)
{
    m_db->run(QStringLiteral("INSERT INTO meetings(id, title, started, locale) VALUES(?, ?, ?, ?)"),
              {id, title, started, locale});
}

QList<SQLRow> MeetingRows::meeting(const QString &id) const
{
    return m_db->query(QStringLiteral("SELECT * FROM meetings WHERE id = ?"), {id});
}

QList<SQLRow> MeetingRows::recentMeetings(int limit) const
{
    return m_db->query(QStringLiteral("SELECT * FROM meetings ORDER BY started DESC LIMIT ?"), {limit});
}

void MeetingRows::updateMeeting(const MeetingValues &values)
{
    m_db->run(QStringLiteral("UPDATE meetings SET title = ?, ended = ?, user_notes = ?, enhanced_json = ?, "
                             "enhanced_at = ? WHERE id = ?"),
              {values.title, values.ended, values.userNotes, values.enhancedJSON, values.enhancedAt, values.id});
}

void MeetingRows::setMeetingStarted(const QString &id, double started)
{
    m_db->run(QStringLiteral("UPDATE meetings SET started = ? WHERE id = ?"), {started, id});
}

void MeetingRows::deleteMeeting(const QString &id)
{
    m_db->transaction([&] {
        m_db->run(QStringLiteral("DELETE FROM meetings WHERE id = ?"), {id});
        PassageIndex(m_db).deletePassages({{QStringLiteral("note"), id}, {QStringLiteral("transcript"), id}});
    });
}

QList<SQLRow> MeetingRows::segments(const QString &meetingID) const
{
    return m_db->query(QStringLiteral("SELECT * FROM segments WHERE meeting_id = ? ORDER BY start"), {meetingID});
}

qint64 MeetingRows::insertSegment(const QString &meetingID, const QString &speaker, double start, double end,
                                  const QString &text)
{
    // Held across the insert, so that the row id read is this insert's.
    std::lock_guard guard(m_db->lock());
    m_db->run(QStringLiteral("INSERT INTO segments(meeting_id, speaker, start, end, text) VALUES(?, ?, ?, ?, ?)"),
              {meetingID, speaker, start, end, text});
    return m_db->lastInsertRowID();
}

void MeetingRows::saveLiveAnswer(const QString &id, const QString &meetingID, const QString &question,
                                 const QString &answer, const QString &citationsJSON, double created)
{
    m_db->run(QStringLiteral("INSERT OR REPLACE INTO live_answers(id, meeting_id, question, answer, citations_json, "
                             "created) VALUES(?, ?, ?, ?, ?, ?)"),
              {id, meetingID, question, answer, citationsJSON, created});
}

QList<SQLRow> MeetingRows::liveAnswers(const QString &meetingID) const
{
    return m_db->query(QStringLiteral("SELECT * FROM live_answers WHERE meeting_id = ? ORDER BY created"),
                       {meetingID});
}

void MeetingRows::replacePassages(const QString &ownerType, const QString &meetingID, const QString &title,
                                  const QStringList &bodies)
{
    PassageIndex passages(m_db);
    m_db->transaction([&] {
        passages.deletePassages({{ownerType, meetingID}});
        // Without bodies the owner keeps no row at all, not even a title.
        if (!bodies.isEmpty())
            passages.addPassages({{{ownerType, meetingID}, title, bodies}});
    });
}
