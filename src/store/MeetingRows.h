// The rows of meetings, their transcript segments and their live answers, and
// the meeting passages of the full-text table. The meeting layer maps these
// rows onto its own records; this class only runs the statements. Made by
// IndexStore::meetingRows().
#pragma once

#include "store/SQLite.h"

#include <QStringList>

#include <memory>
#include <optional>

class MeetingRows
{
public:
    // Columns of the meetings table that a caller writes; dates are seconds
    // since 1970.
    struct MeetingValues
    {
        QString id;
        QString title;
        std::optional<double> ended;
        QString userNotes;
        std::optional<QString> enhancedJSON;
        std::optional<double> enhancedAt;
    };

    void insertMeeting(const QString &id, const QString &title, double started, const std::optional<QString> &locale);
    // Rows of SELECT * FROM meetings.
    QList<SQLRow> meeting(const QString &id) const;
    QList<SQLRow> recentMeetings(int limit) const;
    // Writes title, ended, user notes and the notes' JSON of the row with the id.
    void updateMeeting(const MeetingValues &values);
    // Moves the start of the row with the id.
    void setMeetingStarted(const QString &id, double started);
    // Removes the meeting and its note and transcript passages in one
    // transaction; its segments and answers go with it by cascade.
    void deleteMeeting(const QString &id);

    // Rows of SELECT * FROM segments, ordered by start.
    QList<SQLRow> segments(const QString &meetingID) const;
    // The new segment's row id.
    qint64 insertSegment(const QString &meetingID, const QString &speaker, double start, double end,
                         const QString &text);

    void saveLiveAnswer(const QString &id, const QString &meetingID, const QString &question, const QString &answer,
                        const QString &citationsJSON, double created);
    // Rows of SELECT * FROM live_answers, ordered by created.
    QList<SQLRow> liveAnswers(const QString &meetingID) const;

    // Replaces the owner's passages with the bodies, the first titled; no
    // bodies leave the owner with none.
    void replacePassages(const QString &ownerType, const QString &meetingID, const QString &title,
                         const QStringList &bodies);

private:
    friend class IndexStore;
    explicit MeetingRows(std::shared_ptr<SQLiteDatabase> db);

    std::shared_ptr<SQLiteDatabase> m_db;
};
