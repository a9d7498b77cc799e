// Records one meeting at a time: opens the microphone and the call audio,
// runs a transcriber on each, and turns their final results into stored
// transcript segments. It publishes its state, the two levels, the running
// guesses and a warning for the screens, and hands each accepted segment to
// one handler.
//
// The microphone also hears the call playing through the speakers, so the
// other side's words arrive twice: from the call audio as "them" and from the
// microphone as "me". Segments of "me" are therefore held back for a moment
// and dropped when they repeat what "them" said around the same time.
//
// Recording comes first: no failure to store a segment stops it, and no audio
// is ever written to disk. Main thread only; capture and decoding run on
// threads of their own and reach the recorder through queued calls.
#pragma once

#include "core/Tasks.h"
#include "meetings/MeetingModels.h"
#include "meetings/SpeechStream.h"

#include <QDateTime>
#include <QMap>
#include <QObject>
#include <QSet>
#include <QTimer>
#include <QVariantMap>

#include <chrono>
#include <functional>
#include <memory>

class AudioSource;
class LevelMeter;
class MeetingStore;

// Whether a "me" segment repeats a "them" segment of recent whose time range
// reaches its own widened by window seconds on each side. Word sets are
// compared by their overlap: with at least three words in the smaller set,
// 70 % of that set in common is an echo; below three, only equal sets are.
// A segment without any word counts as an echo; "them" never does.
bool isEcho(const TranscriptSegment &segment, const QList<TranscriptSegment> &recent, double window);

class MeetingRecorder : public QObject
{
    Q_OBJECT
    Q_PROPERTY(State state READ state NOTIFY stateChanged)
    Q_PROPERTY(QString preparingText READ preparingText NOTIFY stateChanged)
    Q_PROPERTY(QString meetingID READ meetingID NOTIFY meetingIDChanged)
    Q_PROPERTY(QDateTime startedAt READ startedAt NOTIFY startedAtChanged)
    Q_PROPERTY(float micLevel READ micLevel NOTIFY micLevelChanged)
    Q_PROPERTY(float systemLevel READ systemLevel NOTIFY systemLevelChanged)
    Q_PROPERTY(QVariantMap volatileText READ volatileText NOTIFY volatileTextChanged)
    Q_PROPERTY(bool capturingSystemAudio READ capturingSystemAudio NOTIFY capturingSystemAudioChanged)
    Q_PROPERTY(QString warning READ warning NOTIFY warningChanged)

public:
    enum class State {
        idle,
        preparing, // with preparingText shown to the user
        recording,
        stopping, // the transcribers are decoding what is left
    };
    Q_ENUM(State)

    // Called for each accepted segment, after the attempt to store it: its id
    // is the new row's, or 0 when storing failed (the segment still counts).
    using SegmentHandler = std::function<void(const TranscriptSegment &)>;

    // What a recording is made of. The defaults are this computer's: the
    // on-device speech model, the default source as "me" and the monitor of
    // the default output as "them".
    struct Parts
    {
        // Called off the main thread; throws SpeechEngineError.
        std::function<std::shared_ptr<const SpeechEngine>()> loadEngine;
        // A new, unstarted source for a speaker; called off the main thread.
        std::function<std::unique_ptr<AudioSource>(Speaker)> openSource;
        UtteranceTimings timings;
        // A monotonic clock in milliseconds, for the hold.
        std::function<qint64()> clock;

        static Parts onThisComputer();
    };

    // How long a "me" segment waits for its echo partner, and the release
    // timer, a little longer so that the oldest hold has run out when it
    // fires.
    static constexpr std::chrono::milliseconds hold{2500};
    static constexpr std::chrono::milliseconds releaseDelay{2600};
    // When the call audio has still delivered nothing, it is given up.
    static constexpr std::chrono::milliseconds deliveryCheckDelay{4000};
    static constexpr std::chrono::milliseconds meterInterval{80};
    // Seconds by which the two streams' clocks may disagree.
    static constexpr double echoWindow = 4.0;
    // Seconds of "them" kept for the echo test.
    static constexpr double recentSpan = 30.0;

    // The store must outlive the recorder.
    explicit MeetingRecorder(MeetingStore &meetings, QObject *parent = nullptr);
    MeetingRecorder(MeetingStore &meetings, Parts parts, QObject *parent = nullptr);
    ~MeetingRecorder() override;

    State state() const { return _state; }
    QString preparingText() const { return _preparingText; }
    // The meeting of the last start; kept after the recording ends.
    QString meetingID() const { return _meetingID; }
    // Invalid until recording first began.
    QDateTime startedAt() const { return _startedAt; }
    float micLevel() const { return _micLevel; }
    float systemLevel() const { return _systemLevel; }
    // The running guess of each speaker, keyed "me" and "them".
    QVariantMap volatileText() const;
    QString volatileText(Speaker speaker) const { return _volatileText.value(speaker); }
    // True while the other side of the call is really being captured.
    bool capturingSystemAudio() const { return _capturingSystemAudio; }
    // Empty when there is none; kept until the next start.
    QString warning() const { return _warning; }

    // Set once, by whoever keeps the meeting's session.
    void setOnSegment(SegmentHandler handler);

    // Starts recording into the meeting, which must exist in the store.
    // Returns at once; failures land in warning() and the state goes back
    // to idle. Ignored unless idle.
    void start(const QString &meetingID);
    // Stops the sources, lets the transcribers decode what is left, settles
    // the held segments and goes back to idle (stateChanged tells when).
    // Ignored unless recording.
    void stop();

    // One result of a transcriber. Volatile results replace the speaker's
    // running guess; final ones become segments. The transcribers of a
    // recording deliver here through queued calls.
    void handleUpdate(const TranscriptUpdate &update);

    // Waits until every segment handed to the store so far is written. Their
    // handlers then run from the event loop.
    void finishWriting();

Q_SIGNALS:
    void stateChanged();
    void meetingIDChanged();
    void startedAtChanged();
    void micLevelChanged();
    void systemLevelChanged();
    void volatileTextChanged();
    void capturingSystemAudioChanged();
    void warningChanged();

private:
    struct Recording;
    struct Held
    {
        TranscriptSegment segment;
        qint64 until = 0; // on the clock
    };

    void setState(State state, const QString &preparingText = {});
    void setMeetingID(const QString &meetingID);
    void setStartedAt(const QDateTime &startedAt);
    void setMicLevel(float level);
    void setSystemLevel(float level);
    void setVolatileText(Speaker speaker, const QString &text);
    void setCapturingSystemAudio(bool capturing);
    void setWarning(const QString &warning);

    // Which held segments a release settles: those whose hold ran out, or
    // all of them, at the end of a recording.
    enum class Release { due, all };

    void began(std::shared_ptr<Recording> recording);
    void failedToStart(const QString &reason);
    void sourceFailed(Speaker speaker, const QString &reason);
    void commit(TranscriptSegment segment);
    void releaseHeld(Release which);
    void checkDelivery();
    void tickMeters();
    void finishStopping();
    void cleanUp();

    MeetingStore &m_meetings;
    const Parts m_parts;

    State _state = State::idle;
    QString _preparingText;
    QString _meetingID;
    QDateTime _startedAt;
    float _micLevel = 0;
    float _systemLevel = 0;
    QMap<Speaker, QString> _volatileText;
    bool _capturingSystemAudio = false;
    QString _warning;

    SegmentHandler m_onSegment;
    std::shared_ptr<Recording> m_recording;
    // Counts starts and clean-ups: work handed back for an earlier one is
    // dropped.
    int m_generation = 0;
    const std::shared_ptr<LevelMeter> m_micMeter;
    const std::shared_ptr<LevelMeter> m_systemMeter;
    QList<TranscriptSegment> m_recentThem;
    QList<Held> m_heldMine;
    // Children, so that tests can find and fire them.
    QTimer *m_meterTimer;
    QTimer *m_releaseTimer;
    QTimer *m_deliveryTimer;
    const AudioSource *m_checkedSource = nullptr;
    // Segments are written here, in order, off the main thread.
    SerialWorker m_writer;
};
