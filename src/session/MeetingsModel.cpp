#include "session/MeetingsModel.h"

#include "core/AppSettings.h"
#include "meetings/MeetingText.h"

#include <QUuid>

using namespace Qt::StringLiterals;

MeetingsModel::MeetingsModel(IndexStore &index, const ClaudeClient &claude, AppSettings &settings,
                             KeyPresence hasKey, QObject *parent)
    : QObject(parent)
    , m_index(index)
    , m_store(index)
    , m_claude(claude)
    , m_settings(settings)
    , m_hasKey(std::move(hasKey))
{
}

MeetingsModel::~MeetingsModel()
{
    delete _session;
    qDeleteAll(m_finishing);
}

QVariantList MeetingsModel::meetingValues() const
{
    QVariantList values;
    for (const Meeting &meeting : _meetings) {
        const QVariant length = meeting.ended
            ? QVariant(durationText(double(meeting.started.msecsTo(*meeting.ended)) / 1000.0))
            : QVariant();
        values.append(QVariantMap{{u"id"_s, meeting.id},
                                  {u"title"_s, meeting.displayTitle()},
                                  {u"started"_s, meeting.started},
                                  {u"dateText"_s, relativeDateText(meeting.started)},
                                  {u"length"_s, length},
                                  {u"hasNotes"_s, meeting.enhanced.has_value()}});
    }
    return values;
}

void MeetingsModel::reload()
{
    QList<Meeting> meetings;
    try {
        meetings = m_store.recentMeetings(listLimit);
    } catch (const std::exception &) {
    }
    if (meetings != _meetings) {
        _meetings = meetings;
        Q_EMIT meetingsChanged();
    }
    if (!_selectedID && !_meetings.isEmpty())
        select(_meetings.first().id);
}

void MeetingsModel::select(const QString &id)
{
    const std::optional<QString> selected = id.isEmpty() ? std::nullopt : std::optional<QString>(id);
    if (_selectedID == selected)
        return;
    _selectedID = selected;
    Q_EMIT selectedIDChanged();
    if (_session)
        _session->saveNow();
    std::optional<Meeting> meeting;
    if (selected) {
        try {
            meeting = m_store.meeting(*selected);
        } catch (const std::exception &) {
        }
    }
    setSession(meeting ? new MeetingSession(*meeting, this) : nullptr);
}

void MeetingsModel::setSession(MeetingSession *session)
{
    if (_session == session)
        return;
    // The screens learn of the new session before the old one goes, so that
    // nothing shown reads a session that is gone.
    MeetingSession *leaving = std::exchange(_session, session);
    Q_EMIT sessionChanged();
    // Notes being written for the old session are still saved when they
    // come; answers still being looked up are dropped with it.
    if (leaving && leaving->enhancing()) {
        m_finishing.append(leaving);
        connect(leaving, &MeetingSession::enhanceEnded, this, [this, leaving] {
            if (m_finishing.removeOne(leaving))
                leaving->deleteLater();
        });
    } else {
        delete leaving;
    }
}

std::optional<QString> MeetingsModel::newMeeting(Start start)
{
    const QString id = QUuid::createUuid().toString(QUuid::WithoutBraces);
    const QString locale = m_settings.transcriptionLocale();
    try {
        m_store.insert(id, QDateTime::currentDateTime(),
                       locale.isEmpty() ? std::nullopt : std::optional<QString>(locale));
    } catch (const std::exception &) {
        return std::nullopt;
    }
    reload();
    select(id);
    if (start == Start::recording)
        startRecording();
    return id;
}

void MeetingsModel::setRecorder(std::weak_ptr<Recorder> recorder)
{
    m_recorderControl = std::move(recorder);
}

void MeetingsModel::startRecording()
{
    const std::shared_ptr<Recorder> recorder = m_recorderControl.lock();
    if (!_session || !recorder || m_recorder.state != RecorderState::idle)
        return;
    _session->setTab(MeetingSession::Tab::transcript);
    // The present setting, not the meeting's stored locale: a later
    // recording into an old meeting follows what the user chose since.
    recorder->start(_session->meetingID(), QLocale(m_settings.transcriptionLocale()), [self = QPointer(this)] {
        if (!self || self->m_recorder.state != RecorderState::recording || !self->m_recorder.meetingID)
            return;
        self->recordingStarted(*self->m_recorder.meetingID,
                               self->m_recorder.startedAt.value_or(QDateTime::currentDateTime()));
    });
}

void MeetingsModel::stopRecording()
{
    finishRecording(Notes::asSettingsSay, {});
}

void MeetingsModel::finishRecording(Notes notes, std::function<void()> done)
{
    const std::shared_ptr<Recorder> recorder = m_recorderControl.lock();
    // The meeting recorded last was finished when its recording stopped; a
    // stop already under way finishes the meeting once.
    if (!recorder || m_recorder.state == RecorderState::idle || m_recorder.state == RecorderState::stopping) {
        if (done)
            done();
        return;
    }
    const std::optional<QString> id = m_recorder.meetingID;
    recorder->stop([self = QPointer(this), id, notes, done = std::move(done)] {
        if (self && id)
            self->recordingStopped(*id, done, notes);
        else if (done)
            done();
    });
}

void MeetingsModel::deleteMeeting(const QString &id)
{
    // The meeting the recorder holds, running or recorded last, stays.
    if (m_recorder.meetingID == id)
        return;
    try {
        m_store.deleteMeeting(id);
    } catch (const std::exception &) {
    }
    if (_selectedID == id)
        select(QString());
    reload();
}

void MeetingsModel::setRecorderStatus(const RecorderStatus &status)
{
    if (m_recorder == status)
        return;
    m_recorder = status;
    if (_session)
        Q_EMIT _session->isRecordingChanged();
}

void MeetingsModel::recordingStarted(const QString &meetingID, const QDateTime &at)
{
    if (_session && _session->meetingID() == meetingID)
        _session->beginRecording(at);
}

void MeetingsModel::route(const TranscriptSegment &segment)
{
    if (_session && _session->meetingID() == segment.meetingID)
        _session->handle(segment);
}

void MeetingsModel::recordingStopped(const QString &meetingID, std::function<void()> done, Notes notes)
{
    MeetingSession *session = _session && _session->meetingID() == meetingID ? _session : nullptr;
    if (!session) {
        std::optional<Meeting> meeting;
        try {
            meeting = m_store.meeting(meetingID);
        } catch (const std::exception &) {
        }
        if (!meeting) {
            if (done)
                done();
            return;
        }
        session = new MeetingSession(*meeting, this);
        m_finishing.append(session);
    }
    const bool write = notes == Notes::asSettingsSay && m_settings.autoEnhance() && hasKey();
    const auto enhancement = write ? MeetingSession::Enhancement::write : MeetingSession::Enhancement::skip;
    session->finish(enhancement, [this, session, done = std::move(done)] {
        if (m_finishing.removeOne(session))
            session->deleteLater();
        reload();
        if (done)
            done();
    });
}

void MeetingsModel::replaceInList(const Meeting &meeting)
{
    for (Meeting &entry : _meetings) {
        if (entry.id != meeting.id)
            continue;
        if (entry != meeting) {
            entry = meeting;
            Q_EMIT meetingsChanged();
        }
        return;
    }
}
