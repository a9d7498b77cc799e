// Joins a MeetingRecorder to the meetings: record and stop from the meetings
// reach the recorder, and the recorder's state and accepted segments reach
// the meetings. The recorder records in the language of its speech model;
// the locale the meetings pass is the one it was set up for.
#pragma once

#include "meetings/MeetingRecorder.h"
#include "session/MeetingsModel.h"

#include <QPointer>

#include <functional>

class RecorderLink : public MeetingsModel::Recorder
{
public:
    // Both must outlive the link. The link takes the recorder's segment
    // handler; see setOnSegment() for more listeners.
    RecorderLink(MeetingRecorder &recorder, MeetingsModel &meetings);
    ~RecorderLink() override;

    void start(const QString &meetingID, const QLocale &locale, std::function<void()> done) override;
    void stop(std::function<void()> done) override;

    // Called for each accepted segment after the meetings have it.
    void setOnSegment(MeetingRecorder::SegmentHandler handler);

    static MeetingsModel::RecorderState stateOf(MeetingRecorder::State state);

private:
    void stateChanged();
    MeetingsModel::RecorderStatus status() const;

    MeetingRecorder &m_recorder;
    QPointer<MeetingsModel> m_meetings;
    MeetingRecorder::SegmentHandler m_onSegment;
    // Waiting for the recorder to be recording (or to give up), and to be
    // idle again after a stop.
    std::function<void()> m_started;
    std::function<void()> m_stopped;
    QMetaObject::Connection m_connection;
};
