#include "meetings/MeetingRecorder.h"

#include "meetings/AudioCapture.h"
#include "meetings/MeetingStore.h"
#include "meetings/MeetingText.h"
#include "meetings/StreamTranscriber.h"

#include <QPointer>

#include <algorithm>
#include <utility>

namespace {

const QString checkingMicrophoneText = QStringLiteral("Checking microphone access…");
const QString preparingModelText = QStringLiteral("Preparing on-device transcription…");
const QString microphoneOnlyText = QStringLiteral(
    "Recording your microphone only. Larder couldn't open the monitor of your sound output, which carries the other "
    "side of calls; check that PulseAudio or PipeWire is running.");
const QString noCallAudioText = QStringLiteral(
    "Couldn't read call audio from this output device, so only your microphone is being transcribed. Switching "
    "output (for example to the computer's built-in speakers) and recording again usually fixes it.");

} // namespace

bool isEcho(const TranscriptSegment &segment, const QList<TranscriptSegment> &recent, double window)
{
    if (segment.speaker == Speaker::them)
        return false;
    const QSet<QString> mine = echoTokens(segment.text);
    // Nothing but one-letter words ("I", "a"): too little to tell, and most
    // likely a fragment of the call.
    if (mine.isEmpty())
        return true;
    for (const TranscriptSegment &candidate : recent) {
        if (candidate.speaker != Speaker::them || segment.start - window > candidate.end
            || candidate.start > segment.end + window)
            continue;
        const QSet<QString> theirs = echoTokens(candidate.text);
        if (theirs.isEmpty())
            continue;
        const qsizetype smaller = std::min(mine.size(), theirs.size());
        if (smaller < 3) {
            if (mine == theirs)
                return true;
            continue;
        }
        const qsizetype common = QSet<QString>(mine).intersect(theirs).size();
        if (double(common) / double(smaller) >= 0.7)
            return true;
    }
    return false;
}

// The devices of one recording. The sources feed the transcribers, so they
// are stopped before the transcribers go.
struct MeetingRecorder::Recording
{
    StreamTranscriber meTranscriber{Speaker::me};
    StreamTranscriber themTranscriber{Speaker::them};
    std::unique_ptr<AudioSource> mic;
    std::unique_ptr<AudioSource> system;

    ~Recording() { stopSources(); }

    void stopSources()
    {
        if (mic)
            mic->stop();
        if (system)
            system->stop();
    }
};

MeetingRecorder::Parts MeetingRecorder::Parts::onThisComputer()
{
    Parts parts;
    parts.loadEngine = [] { return StreamTranscriber::prepareModel(); };
    parts.openSource = [](Speaker speaker) -> std::unique_ptr<AudioSource> {
        if (speaker == Speaker::me)
            return std::make_unique<MicrophoneCapture>();
        return std::make_unique<SystemAudioCapture>();
    };
    parts.clock = [] {
        using namespace std::chrono;
        return qint64(duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count());
    };
    return parts;
}

MeetingRecorder::MeetingRecorder(MeetingStore &meetings, QObject *parent)
    : MeetingRecorder(meetings, Parts::onThisComputer(), parent)
{
}

MeetingRecorder::MeetingRecorder(MeetingStore &meetings, Parts parts, QObject *parent)
    : QObject(parent)
    , m_meetings(meetings)
    , m_parts(std::move(parts))
    , m_micMeter(std::make_shared<LevelMeter>())
    , m_systemMeter(std::make_shared<LevelMeter>())
    , m_meterTimer(new QTimer(this))
    , m_releaseTimer(new QTimer(this))
    , m_deliveryTimer(new QTimer(this))
{
    m_meterTimer->setObjectName(QStringLiteral("meterTick"));
    m_meterTimer->setInterval(meterInterval);
    connect(m_meterTimer, &QTimer::timeout, this, &MeetingRecorder::tickMeters);

    // Each held segment re-arms the release, so an unbroken run of "me"
    // segments stays held until 2.6 s after the last, or the next "them".
    m_releaseTimer->setObjectName(QStringLiteral("release"));
    m_releaseTimer->setSingleShot(true);
    m_releaseTimer->setInterval(releaseDelay);
    connect(m_releaseTimer, &QTimer::timeout, this, [this] { releaseHeld(Release::due); });

    m_deliveryTimer->setObjectName(QStringLiteral("deliveryCheck"));
    m_deliveryTimer->setSingleShot(true);
    m_deliveryTimer->setInterval(deliveryCheckDelay);
    connect(m_deliveryTimer, &QTimer::timeout, this, &MeetingRecorder::checkDelivery);
}

MeetingRecorder::~MeetingRecorder()
{
    // Segments on their way to the store still get there.
    finishWriting();
}

void MeetingRecorder::finishWriting()
{
    m_writer.finish();
}

QVariantMap MeetingRecorder::volatileText() const
{
    QVariantMap map;
    for (auto it = _volatileText.cbegin(); it != _volatileText.cend(); ++it)
        map.insert(speakerRawValue(it.key()), it.value());
    return map;
}

void MeetingRecorder::setOnSegment(SegmentHandler handler)
{
    m_onSegment = std::move(handler);
}

void MeetingRecorder::start(const QString &meetingID)
{
    if (_state != State::idle)
        return;
    setWarning({});
    setMeetingID(meetingID);
    setState(State::preparing, checkingMicrophoneText);

    const int generation = ++m_generation;
    const QPointer<MeetingRecorder> self(this);
    auto recording = std::make_shared<Recording>();
    // Everything below reaches the recorder through queued calls, and only
    // while this recording is still the current one.
    const auto onUpdate = [self, generation](const TranscriptUpdate &update) {
        Tasks::deliver(self, [self, generation, update] {
            if (self->m_generation == generation)
                self->handleUpdate(update);
        });
    };
    const auto onFailure = [self, generation](Speaker speaker) {
        return [self, generation, speaker](const AudioCaptureError &error) {
            Tasks::deliver(self, [self, generation, speaker, reason = error.description()] {
                if (self->m_generation == generation)
                    self->sourceFailed(speaker, reason);
            });
        };
    };
    // On the capture thread: only the meter and the transcriber, which both
    // guard themselves.
    const auto feed = [](std::shared_ptr<LevelMeter> meter, StreamTranscriber *transcriber) {
        return [meter = std::move(meter), transcriber](const AudioBuffer &buffer) {
            meter->feed(rootMeanSquareLevel(buffer));
            transcriber->append(buffer);
        };
    };

    Tasks::run(Tasks::Priority::UserInitiated, [=, parts = m_parts, micMeter = m_micMeter,
                                                 systemMeter = m_systemMeter](const CancellationToken &) {
        const auto fail = [&](const QString &reason) {
            Tasks::deliver(self, [self, generation, reason] {
                if (self->m_generation == generation)
                    self->failedToStart(reason);
            });
        };
        // There is no permission prompt: opening the microphone is the test.
        try {
            recording->mic = parts.openSource(Speaker::me);
            recording->mic->start(feed(micMeter, &recording->meTranscriber), onFailure(Speaker::me));
        } catch (const DescribedError &error) {
            recording->mic.reset();
            return fail(error.description());
        }
        Tasks::deliver(self, [self, generation] {
            if (self->m_generation == generation && self->_state == State::preparing)
                self->setState(State::preparing, preparingModelText);
        });
        std::shared_ptr<const SpeechEngine> engine;
        try {
            engine = parts.loadEngine();
        } catch (const DescribedError &error) {
            return fail(error.description());
        }
        recording->meTranscriber.start(engine, onUpdate, parts.timings);
        recording->themTranscriber.start(engine, onUpdate, parts.timings);
        // Without the call audio the recording goes on with the microphone.
        try {
            recording->system = parts.openSource(Speaker::them);
            recording->system->start(feed(systemMeter, &recording->themTranscriber), onFailure(Speaker::them));
        } catch (const DescribedError &) {
            recording->system.reset();
        }
        Tasks::deliver(self, [self, generation, recording] {
            if (self->m_generation == generation)
                self->began(recording);
        });
    });
}

void MeetingRecorder::began(std::shared_ptr<Recording> recording)
{
    m_recording = std::move(recording);
    const bool hearsCall = m_recording->system != nullptr;
    setCapturingSystemAudio(hearsCall);
    if (!hearsCall)
        setWarning(microphoneOnlyText);
    setStartedAt(QDateTime::currentDateTime());
    setState(State::recording);
    m_meterTimer->start();
    if (hearsCall) {
        m_checkedSource = m_recording->system.get();
        m_deliveryTimer->start();
    }
}

void MeetingRecorder::failedToStart(const QString &reason)
{
    setWarning(reason);
    cleanUp();
    setState(State::idle);
}

void MeetingRecorder::sourceFailed(Speaker speaker, const QString &reason)
{
    if (_state != State::recording)
        return;
    // What was heard so far stays; the other side goes on being recorded.
    setWarning(reason);
    if (speaker == Speaker::them)
        setCapturingSystemAudio(false);
}

void MeetingRecorder::checkDelivery()
{
    // A capture that some later recording replaced is not this one's concern.
    if (_state != State::recording || !m_recording || !m_recording->system
        || m_recording->system.get() != m_checkedSource)
        return;
    if (m_recording->system->deliveredCount() > 0)
        return;
    // The source stays open: segments already held go out as usual, new ones
    // are no longer held.
    setCapturingSystemAudio(false);
    setWarning(noCallAudioText);
}

void MeetingRecorder::tickMeters()
{
    setMicLevel(m_micMeter->drain());
    setSystemLevel(m_systemMeter->drain());
}

void MeetingRecorder::handleUpdate(const TranscriptUpdate &update)
{
    if (_meetingID.isEmpty())
        return;
    if (!update.isFinal) {
        setVolatileText(update.speaker, update.text);
        return;
    }
    setVolatileText(update.speaker, QString());
    if (update.text.isEmpty())
        return;

    const TranscriptSegment segment{0, _meetingID, update.speaker, update.start, std::max(update.end, update.start),
                                    update.text};
    if (segment.speaker == Speaker::me) {
        if (!_capturingSystemAudio) {
            commit(segment);
            return;
        }
        m_heldMine.append({segment, m_parts.clock() + hold.count()});
        m_releaseTimer->start();
        return;
    }
    m_recentThem.append(segment);
    m_recentThem.removeIf([&](const TranscriptSegment &old) { return old.end < segment.start - recentSpan; });
    commit(segment);
    // This may be what a held segment was waiting for.
    releaseHeld(Release::due);
}

void MeetingRecorder::releaseHeld(Release which)
{
    const qint64 now = m_parts.clock();
    QList<Held> kept;
    for (const Held &entry : std::as_const(m_heldMine)) {
        // An echo goes as soon as its partner is known, neither stored nor
        // shown.
        if (isEcho(entry.segment, m_recentThem, echoWindow))
            continue;
        if (which == Release::all || entry.until <= now)
            commit(entry.segment);
        else
            kept.append(entry);
    }
    m_heldMine = kept;
    if (!m_heldMine.isEmpty())
        m_releaseTimer->start();
}

void MeetingRecorder::commit(TranscriptSegment segment)
{
    const QPointer<MeetingRecorder> self(this);
    MeetingStore *meetings = &m_meetings;
    m_writer.post([self, meetings, segment]() mutable {
        // A segment that can't be stored still reaches the screen, with id 0.
        try {
            segment.id = meetings->insertSegment(segment);
        } catch (const std::exception &) {
            segment.id = 0;
        }
        Tasks::deliver(self, [self, segment] {
            if (self->m_onSegment)
                self->m_onSegment(segment);
        });
    });
}

void MeetingRecorder::stop()
{
    if (_state != State::recording)
        return;
    setState(State::stopping);
    const QPointer<MeetingRecorder> self(this);
    const int generation = m_generation;
    // Decoding what is left takes a while: off the main thread. The last
    // results are queued before the call that ends the stop.
    Tasks::run(Tasks::Priority::UserInitiated, [self, generation, recording = m_recording](const CancellationToken &) {
        recording->stopSources();
        recording->meTranscriber.finish();
        recording->themTranscriber.finish();
        Tasks::deliver(self, [self, generation] {
            if (self->m_generation == generation)
                self->finishStopping();
        });
    });
}

void MeetingRecorder::finishStopping()
{
    releaseHeld(Release::all);
    // Idle only once the last segments are stored and handed on, so that
    // whoever waits for idle has seen every one of them.
    const QPointer<MeetingRecorder> self(this);
    const int generation = m_generation;
    m_writer.post([self, generation] {
        Tasks::deliver(self, [self, generation] {
            if (self->m_generation != generation)
                return;
            self->cleanUp();
            self->setState(State::idle);
        });
    });
}

void MeetingRecorder::cleanUp()
{
    ++m_generation;
    m_meterTimer->stop();
    m_releaseTimer->stop();
    m_deliveryTimer->stop();
    m_checkedSource = nullptr;
    m_recording.reset();
    if (!_volatileText.isEmpty()) {
        _volatileText.clear();
        Q_EMIT volatileTextChanged();
    }
    setMicLevel(0);
    setSystemLevel(0);
    m_recentThem.clear();
    m_heldMine.clear();
    setCapturingSystemAudio(false);
}

void MeetingRecorder::setState(State state, const QString &preparingText)
{
    if (_state == state && _preparingText == preparingText)
        return;
    _state = state;
    _preparingText = preparingText;
    Q_EMIT stateChanged();
}

void MeetingRecorder::setMeetingID(const QString &meetingID)
{
    if (_meetingID == meetingID)
        return;
    _meetingID = meetingID;
    Q_EMIT meetingIDChanged();
}

void MeetingRecorder::setStartedAt(const QDateTime &startedAt)
{
    if (_startedAt == startedAt)
        return;
    _startedAt = startedAt;
    Q_EMIT startedAtChanged();
}

void MeetingRecorder::setMicLevel(float level)
{
    if (_micLevel == level)
        return;
    _micLevel = level;
    Q_EMIT micLevelChanged();
}

void MeetingRecorder::setSystemLevel(float level)
{
    if (_systemLevel == level)
        return;
    _systemLevel = level;
    Q_EMIT systemLevelChanged();
}

void MeetingRecorder::setVolatileText(Speaker speaker, const QString &text)
{
    if (_volatileText.value(speaker) == text && _volatileText.contains(speaker) == !text.isEmpty())
        return;
    if (text.isEmpty())
        _volatileText.remove(speaker);
    else
        _volatileText.insert(speaker, text);
    Q_EMIT volatileTextChanged();
}

void MeetingRecorder::setCapturingSystemAudio(bool capturing)
{
    if (_capturingSystemAudio == capturing)
        return;
    _capturingSystemAudio = capturing;
    Q_EMIT capturingSystemAudioChanged();
}

void MeetingRecorder::setWarning(const QString &warning)
{
    if (_warning == warning)
        return;
    _warning = warning;
    Q_EMIT warningChanged();
}
