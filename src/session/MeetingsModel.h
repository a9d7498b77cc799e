// The meetings of the library: the list (newest first, up to 500), the
// selected meeting open as a MeetingSession, and the commands to make, delete
// and finish a meeting. Segments of the recording come in through route(),
// which hands them to the open session when they belong to its meeting.
// Main thread only.
#pragma once

#include "meetings/MeetingStore.h"
#include "session/MeetingSession.h"

#include <QLocale>
#include <QObject>
#include <QVariantList>

#include <functional>
#include <memory>

class AppSettings;
class ClaudeClient;
class IndexStore;

class MeetingsModel : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QVariantList meetings READ meetingValues NOTIFY meetingsChanged)
    Q_PROPERTY(MeetingSession *session READ session NOTIFY sessionChanged)
    Q_PROPERTY(QString selectedID READ selectedIDText WRITE select NOTIFY selectedIDChanged)

public:
    // Whether a non-empty API key is available now.
    using KeyPresence = std::function<bool()>;

    enum class RecorderState { idle, preparing, recording, stopping };

    // What the recorder is doing: the meeting it records (or recorded last,
    // which it keeps after stopping), its state, and when the recording
    // began.
    struct RecorderStatus
    {
        std::optional<QString> meetingID;
        RecorderState state = RecorderState::idle;
        std::optional<QDateTime> startedAt;
        friend bool operator==(const RecorderStatus &, const RecorderStatus &) = default;
    };

    // The commands the meetings give the recorder. The application adapts
    // its recorder to this and reports the recorder's status through
    // setRecorderStatus() as it changes.
    class Recorder
    {
    public:
        virtual ~Recorder() = default;
        // Starts recording the meeting; done runs once the recorder is
        // recording or has given up.
        virtual void start(const QString &meetingID, const QLocale &locale, std::function<void()> done) = 0;
        // done runs once the last words are transcribed and stored.
        virtual void stop(std::function<void()> done) = 0;
    };

    // Whether a new meeting starts recording at once.
    enum class Start { quietly, recording };

    // What the end of a recording does about the notes: writes them when the
    // settings ask for it and a key is there, or leaves them unwritten.
    enum class Notes { asSettingsSay, skip };

    static constexpr int listLimit = 500;

    MeetingsModel(IndexStore &index, const ClaudeClient &claude, AppSettings &settings, KeyPresence hasKey,
                  QObject *parent = nullptr);
    // The sessions go first: their running calls use the store and client.
    ~MeetingsModel() override;

    const QList<Meeting> &meetings() const { return _meetings; }
    QVariantList meetingValues() const;
    MeetingSession *session() const { return _session; }
    const std::optional<QString> &selectedID() const { return _selectedID; }
    QString selectedIDText() const { return _selectedID.value_or(QString()); }

    MeetingStore &store() { return m_store; }
    IndexStore &index() const { return m_index; }
    const ClaudeClient &claude() const { return m_claude; }
    AppSettings &settings() const { return m_settings; }
    bool hasKey() const { return m_hasKey(); }
    const RecorderStatus &recorderStatus() const { return m_recorder; }

    // Reads the list again; a failure gives an empty list. Selects the newest
    // meeting when none is selected.
    Q_INVOKABLE void reload();
    // Opens the meeting, saving the one open before; an empty id closes it.
    Q_INVOKABLE void select(const QString &id);
    // A new, empty meeting, selected, and recorded when asked. Returns its
    // id, or nothing when it couldn't be stored.
    std::optional<QString> newMeeting(Start start = Start::quietly);
    // Records the open meeting, when the recorder is idle.
    Q_INVOKABLE void startRecording();
    // Stops the recorder and finishes the meeting it recorded. Nothing
    // happens while the recorder is idle or already stopping.
    Q_INVOKABLE void stopRecording();
    // The same, with the notes as asked; done runs once the meeting is
    // finished, or at once when there was nothing to stop.
    void finishRecording(Notes notes, std::function<void()> done);
    // The recorder is held weakly: the application owns it.
    void setRecorder(std::weak_ptr<Recorder> recorder);
    // Deletes the meeting, unless it is the one the recorder holds.
    Q_INVOKABLE void deleteMeeting(const QString &id);

    // The recorder's state, as it changes.
    void setRecorderStatus(const RecorderStatus &status);
    // A recording began: the open session of that meeting takes its start.
    void recordingStarted(const QString &meetingID, const QDateTime &at);
    // The path of every segment the recorder accepted: to the open session
    // if it shows that meeting, nowhere else (the recorder stores it).
    void route(const TranscriptSegment &segment);
    // The recorder stopped: the meeting is finished, through the open
    // session or one made for the purpose, its notes written when the
    // settings ask for it and a key is there, and the list read again. done
    // runs at the end.
    void recordingStopped(const QString &meetingID, std::function<void()> done = {},
                          Notes notes = Notes::asSettingsSay);

Q_SIGNALS:
    void meetingsChanged();
    void sessionChanged();
    void selectedIDChanged();

private:
    friend class MeetingSession;
    // A saved meeting takes its place in the list.
    void replaceInList(const Meeting &meeting);
    void setSession(MeetingSession *session);

    QList<Meeting> _meetings;
    MeetingSession *_session = nullptr;
    std::optional<QString> _selectedID;
    IndexStore &m_index;
    MeetingStore m_store;
    const ClaudeClient &m_claude;
    AppSettings &m_settings;
    KeyPresence m_hasKey;
    RecorderStatus m_recorder;
    std::weak_ptr<Recorder> m_recorderControl;
    // Sessions made to finish a recording of a meeting not open.
    QList<MeetingSession *> m_finishing;
};
