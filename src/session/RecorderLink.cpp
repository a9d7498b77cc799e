#include "session/RecorderLink.h"

#include <utility>

RecorderLink::RecorderLink(MeetingRecorder &recorder, MeetingsModel &meetings)
    : m_recorder(recorder)
    , m_meetings(&meetings)
{
    m_recorder.setOnSegment([this](const TranscriptSegment &segment) {
        if (m_meetings)
            m_meetings->route(segment);
        if (m_onSegment)
            m_onSegment(segment);
    });
    m_connection = QObject::connect(&m_recorder, &MeetingRecorder::stateChanged, [this] { stateChanged(); });
    meetings.setRecorderStatus(status());
}

RecorderLink::~RecorderLink()
{
    QObject::disconnect(m_connection);
    m_recorder.setOnSegment({});
}

MeetingsModel::RecorderState RecorderLink::stateOf(MeetingRecorder::State state)
{
    switch (state) {
    case MeetingRecorder::State::idle:
        return MeetingsModel::RecorderState::idle;
    case MeetingRecorder::State::preparing:
        return MeetingsModel::RecorderState::preparing;
    case MeetingRecorder::State::recording:
        return MeetingsModel::RecorderState::recording;
    case MeetingRecorder::State::stopping:
        return MeetingsModel::RecorderState::stopping;
    }
    return MeetingsModel::RecorderState::idle;
}

MeetingsModel::RecorderStatus RecorderLink::status() const
{
    MeetingsModel::RecorderStatus status;
    status.state = stateOf(m_recorder.state());
    if (!m_recorder.meetingID().isEmpty())
        status.meetingID = m_recorder.meetingID();
    if (m_recorder.startedAt().isValid() && status.state != MeetingsModel::RecorderState::preparing)
        status.startedAt = m_recorder.startedAt();
    return status;
}

void RecorderLink::start(const QString &meetingID, const QLocale &, std::function<void()> done)
{
    if (m_recorder.state() != MeetingRecorder::State::idle)
        return;
    m_started = std::move(done);
    m_recorder.start(meetingID);
}

void RecorderLink::stop(std::function<void()> done)
{
    const MeetingRecorder::State state = m_recorder.state();
    if (state == MeetingRecorder::State::idle) {
        if (done)
            done();
        return;
    }
    // Every stop waits for the recorder to be idle again, with the last words
    // stored. One made while still getting ready waits for the recording to
    // begin or to give up, so that no start is left behind.
    m_stopped = [earlier = std::move(m_stopped), done = std::move(done)] {
        if (earlier)
            earlier();
        if (done)
            done();
    };
    if (state == MeetingRecorder::State::recording)
        m_recorder.stop();
}

void RecorderLink::setOnSegment(MeetingRecorder::SegmentHandler handler)
{
    m_onSegment = std::move(handler);
}

void RecorderLink::stateChanged()
{
    if (m_meetings)
        m_meetings->setRecorderStatus(status());
    const MeetingRecorder::State state = m_recorder.state();
    if (state == MeetingRecorder::State::recording || state == MeetingRecorder::State::idle) {
        if (auto started = std::exchange(m_started, {}))
            started();
    }
    if (state == MeetingRecorder::State::recording && m_stopped) {
        // Not from within the recorder's signal, so that everyone else
        // listening sees the recording begin before it stops.
        QMetaObject::invokeMethod(
            &m_recorder, [recorder = &m_recorder] { recorder->stop(); }, Qt::QueuedConnection);
        return;
    }
    if (state == MeetingRecorder::State::idle) {
        if (auto stopped = std::exchange(m_stopped, {}))
            stopped();
    }
}
