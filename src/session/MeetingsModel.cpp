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
    // The reads still running use the store, which may close as soon as
    // the model is gone, and hand their results back to the model.
    m_listRead.cancel();
    m_meetingRead.cancel();
    m_reads.waitForAll();
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
    m_listRead.cancel();
    m_listRead = CancellationToken();
    m_reads.launch(
        [this](const CancellationToken &token) {
            if (token.isCancelled())
                return;
            QList<Meeting> meetings;
            try {
                meetings = m_store.recentMeetings(listLimit);
            } catch (const std::exception &) {
            }
            Tasks::deliver(this, token, [this, meetings] { setMeetings(meetings); });
        },
        m_listRead);
}

void MeetingsModel::setMeetings(const QList<Meeting> &meetings)
{
    if (meetings != _meetings) {
        _meetings = meetings;
        Q_EMIT meetingsChanged();
    }
    if (!_selectedID && !_meetings.isEmpty())
        select(_meetings.first().id);
}

bool MeetingsModel::choose(const std::optional<QString> &id)
{
    if (_selectedID == id)
        return false;
    _selectedID = id;
    Q_EMIT selectedIDChanged();
    if (_session)
        _session->saveNow();
    m_meetingRead.cancel();
    setSession(nullptr);
    return true;
}

void MeetingsModel::select(const QString &id)
{
    const std::optional<QString> selected = id.isEmpty() ? std::nullopt : std::optional<QString>(id);
    if (choose(selected) && selected)
        open(*selected);
}

void MeetingsModel::selectNow(const QString &id)
{
    const std::optional<QString> selected = id.isEmpty() ? std::nullopt : std::optional<QString>(id);
    choose(selected);
    if (!selected || (_session && _session->meetingID() == id))
        return;
    // Selected already, and still being read in the background.
    m_meetingRead.cancel();
    const std::optional<MeetingSession::Contents> contents = MeetingSession::read(m_store, id);
    setSession(contents ? new MeetingSession(*contents, this) : nullptr);
}

void MeetingsModel::open(const QString &id)
{
    m_meetingRead.cancel();
    m_meetingRead = CancellationToken();
    m_reads.launch(
        [this, id](const CancellationToken &token) {
            if (token.isCancelled())
                return;
            const std::optional<MeetingSession::Contents> contents = MeetingSession::read(m_store, id);
            Tasks::deliver(this, token, [this, contents] {
                setSession(contents ? new MeetingSession(*contents, this) : nullptr);
            });
        },
        m_meetingRead);
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
    selectNow(id);
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
    if (_session && _session->meetingID() == meetingID) {
        finish(_session, notes, std::move(done));
        return;
    }
    // A meeting not open is read in the background and finished through a
    // session of its own.
    m_reads.launch([this, meetingID, notes, done = std::move(done)](const CancellationToken &) {
        const std::optional<MeetingSession::Contents> contents = MeetingSession::read(m_store, meetingID);
        Tasks::deliver(this, [this, contents, notes, done] {
            if (!contents) {
                if (done)
                    done();
                return;
            }
            // Opened while it was being read: the open session finishes it.
            if (_session && _session->meetingID() == contents->meeting.id) {
                finish(_session, notes, done);
                return;
            }
            auto *session = new MeetingSession(*contents, this);
            m_finishing.append(session);
            finish(session, notes, done);
        });
    }, CancellationToken());
}

void MeetingsModel::finish(MeetingSession *session, Notes notes, std::function<void()> done)
{
    const bool write = notes == Notes::asSettingsSay && m_settings.autoEnhance() && hasKey();
    const auto enhancement = write ? MeetingSession::Enhancement::write : MeetingSession::Enhancement::skip;
    session->finish(enhancement, [this, session, done = std::move(done)] {
        if (m_finishing.removeOne(session)) {
            session->deleteLater();
            // The meeting opened while it was being finished elsewhere is
            // read again, so that its session doesn't save the old state.
            if (_session && _session->meetingID() == session->meetingID())
                open(session->meetingID());
        }
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
