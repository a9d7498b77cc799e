#include "meetings/MeetingRecorder.h"
#include "meetings/MeetingStore.h"
#include "platform/AudioSource.h"
#include "support/FakeSpeechEngine.h"
#include "support/TestEnvironment.h"
#include "support/TestLibrary.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QTimer>

#include <map>

using State = MeetingRecorder::State;

namespace {

// A source that plays what the test hands it, on the test's thread, at the
// speech engine's own rate.
class FakeSource : public AudioSource
{
public:
    explicit FakeSource(std::optional<AudioCaptureError> startError)
        : m_startError(std::move(startError))
    {
    }
    void start(BufferHandler onBuffer, FailureHandler onFailure) override
    {
        if (m_startError)
            throw *m_startError;
        m_onBuffer = std::move(onBuffer);
        m_onFailure = std::move(onFailure);
    }
    void stop() override { m_onBuffer = nullptr; }
    qint64 deliveredCount() const override { return m_delivered; }

    void play(const FakeAudio &audio)
    {
        if (!m_onBuffer)
            return;
        ++m_delivered;
        m_onBuffer(AudioBuffer{{SpeechEngine::sampleRate, 1}, audio.samples});
    }
    void fail() { m_onFailure(AudioCaptureError(QStringLiteral("keep recording"), 15)); }

private:
    std::optional<AudioCaptureError> m_startError;
    BufferHandler m_onBuffer;
    FailureHandler m_onFailure;
    std::atomic<qint64> m_delivered{0};
};

const QString microphoneOnly = QStringLiteral(
    "Recording your microphone only. Larder couldn't open the monitor of your sound output, which carries the other "
    "side of calls; check that PulseAudio or PipeWire is running.");
const QString noCallAudio = QStringLiteral(
    "Couldn't read call audio from this output device, so only your microphone is being transcribed. Switching "
    "output (for example to the computer's built-in speakers) and recording again usually fixes it.");
const AudioCaptureError tapFailed(QStringLiteral("find the output device"), 5);

class MeetingRecorderTest : public ::testing::Test
{
protected:
    void SetUp() override { meetings.insert(meetingID, QDateTime::currentDateTime(), QStringLiteral("en-US")); }
    void TearDown() override
    {
        recorder.reset();
        Tasks::waitForIdle();
    }

    // Starts and waits until it records or has given up.
    void start()
    {
        MeetingRecorder::Parts parts = MeetingRecorder::Parts::onThisComputer();
        parts.loadEngine = [this]() -> std::shared_ptr<const SpeechEngine> {
            if (engineFails)
                throw SpeechEngineError(QStringLiteral("The speech model is damaged."));
            return engine;
        };
        parts.openSource = [this](Speaker speaker) {
            auto source = std::make_unique<FakeSource>(startErrors[speaker]);
            (speaker == Speaker::me ? mic : call) = source.get();
            return source;
        };
        parts.clock = [this] { return now.load(); };
        recorder = std::make_unique<MeetingRecorder>(meetings, parts);
        recorder->setOnSegment([this](const TranscriptSegment &segment) {
            seen.push_back(segment);
            statesSeen.push_back(recorder->state());
        });
        recorder->start(meetingID);
        ASSERT_EQ(recorder->state(), State::preparing);
        ASSERT_TRUE(TestEnvironment::waitUntil([&] { return recorder->state() != State::preparing; }));
    }
    void stop()
    {
        recorder->stop();
        ASSERT_TRUE(TestEnvironment::waitUntil([&] { return recorder->state() == State::idle; }, 10000));
    }
    // Runs what the recorder handed back so far.
    void settle()
    {
        recorder->finishWriting();
        QCoreApplication::processEvents();
    }
    void fire(const char *timerName)
    {
        auto *timer = recorder->findChild<QTimer *>(QString::fromLatin1(timerName));
        ASSERT_TRUE(timer);
        timer->stop();
        QMetaObject::invokeMethod(timer, "timeout");
        settle();
    }
    void say(Speaker speaker, const QString &text, double start, double end, bool isFinal = true)
    {
        recorder->handleUpdate({speaker, text, isFinal, start, end});
        settle();
    }
    QString seenText() const
    {
        QStringList lines;
        for (const TranscriptSegment &segment : seen)
            lines << speakerRawValue(segment.speaker) + u':' + segment.text;
        return lines.join(QStringLiteral(" | "));
    }

    TestLibrary library;
    MeetingStore meetings{library.store};
    const QString meetingID = QStringLiteral("meeting-1");
    std::shared_ptr<FakeSpeechEngine> engine = std::make_shared<FakeSpeechEngine>();
    std::map<Speaker, std::optional<AudioCaptureError>> startErrors;
    bool engineFails = false;
    std::atomic<FakeSource *> mic{nullptr};
    std::atomic<FakeSource *> call{nullptr};
    std::atomic<qint64> now{0};
    std::unique_ptr<MeetingRecorder> recorder;
    std::vector<TranscriptSegment> seen;
    std::vector<State> statesSeen;
};

} // namespace

TEST(EchoFilter, ComparesWordSetsOfNearbyCallSegments)
{
    const auto me = [](const char *text, double start, double end) {
        return TranscriptSegment{0, {}, Speaker::me, start, end, QString::fromUtf8(text)};
    };
    const auto them = [](const char *text, double start, double end) {
        return TranscriptSegment{0, {}, Speaker::them, start, end, QString::fromUtf8(text)};
    };
    struct Case { const char *name; TranscriptSegment segment; QList<TranscriptSegment> recent; bool echo; };
    const Case cases[] = {
        {"same words, other case and punctuation", me("thanks for joining everyone", 1, 3),
         {them("Thanks for joining, everyone!", 2, 4)}, true},
        {"one word against the same word", me("yes", 1, 2), {them("yes", 1, 2)}, true},
        {"one word against a sentence", me("yes", 1, 2), {them("yes I agree", 1, 2)}, false},
        {"three of four words", me("send the budget report", 1, 3), {them("please send the budget tomorrow", 1, 3)}, true},
        {"two of four words", me("send the quarterly report", 1, 3), {them("please send the budget tomorrow", 1, 3)}, false},
        {"only one-letter words", me("I", 1, 2), {}, true},
        {"nothing said on the call", me("we ship it", 1, 2), {}, false},
        {"4.0 s after the end", me("we should ship it", 0, 2), {them("we should ship it", 6.0, 8)}, true},
        {"4.1 s after the end", me("we should ship it", 0, 2), {them("we should ship it", 6.1, 8)}, false},
        {"4.1 s before the start", me("we should ship it", 10, 12), {them("we should ship it", 2, 5.9)}, false},
        {"a wordless candidate is skipped", me("ok", 1, 2), {them("a", 1, 2), them("ok", 1, 2)}, true},
        {"the call never echoes", them("yes", 1, 2), {them("yes", 1, 2)}, false},
    };
    for (const Case &c : cases)
        EXPECT_EQ(isEcho(c.segment, c.recent, MeetingRecorder::echoWindow), c.echo) << c.name;

    EXPECT_EQ(echoTokens(QStringLiteral("It's O'Brien's 2nd DRAFT, draft")),
              (QSet<QString>{QStringLiteral("it"), QStringLiteral("brien"), QStringLiteral("2nd"), QStringLiteral("draft")}));
}

// Final results as the transcribers deliver them, against a clock the test
// moves: what is accepted, and when.
TEST_F(MeetingRecorderTest, HoldsMySegmentsAndDropsEchoesOfTheCall)
{
    struct Step
    {
        enum Kind { me, them, pass, stop } kind;
        const char *text; // for pass: seconds, for the others the words
        double start, end;
        const char *seenAfter;
    };
    struct Case { const char *name; bool hearsCall; std::vector<Step> steps; };
    const Case cases[] = {
        {"held until the hold runs out", true,
         {{Step::me, "see you next week", 0, 2, ""},
          {Step::pass, "2.4", 0, 0, ""},
          {Step::pass, "0.2", 0, 0, "me:see you next week"}}},
        {"stored at once without the call", false, {{Step::me, "see you next week", 0, 2, "me:see you next week"}}},
        {"dropped when its echo arrives", true,
         {{Step::me, "thanks for joining everyone", 1, 3, ""},
          {Step::pass, "2.0", 0, 0, ""},
          {Step::them, "Thanks for joining, everyone!", 0.5, 3.2, "them:Thanks for joining, everyone!"},
          {Step::stop, "", 0, 0, "them:Thanks for joining, everyone!"}}},
        {"an echo after the hold can't take a segment back", true,
         {{Step::me, "thanks for joining everyone", 1, 3, ""},
          {Step::pass, "2.6", 0, 0, "me:thanks for joining everyone"},
          {Step::them, "Thanks for joining, everyone!", 4, 6,
           "me:thanks for joining everyone | them:Thanks for joining, everyone!"}}},
        {"the call does not release early", true,
         {{Step::me, "first point", 0, 2, ""},
          {Step::pass, "2.0", 0, 0, ""},
          {Step::them, "unrelated words here", 30, 32, "them:unrelated words here"},
          {Step::pass, "0.6", 0, 0, "them:unrelated words here | me:first point"}}},
        {"one word kept against a sentence", true,
         {{Step::me, "yes", 10, 11, ""},
          {Step::them, "yes I agree", 10, 12, "them:yes I agree"},
          {Step::stop, "", 0, 0, "them:yes I agree | me:yes"}}},
        {"one-letter words with the call", true, {{Step::me, "I", 0, 1, ""}, {Step::stop, "", 0, 0, ""}}},
        {"one-letter words without the call", false, {{Step::me, "I", 0, 1, "me:I"}}},
        {"the call's last 30 s are kept", true,
         {{Step::them, "the budget is approved", 0, 5, "them:the budget is approved"},
          {Step::them, "moving on now", 35, 37, "them:the budget is approved | them:moving on now"},
          {Step::me, "the budget is approved", 5, 8, "them:the budget is approved | them:moving on now"},
          {Step::stop, "", 0, 0, "them:the budget is approved | them:moving on now"}}},
        {"older call segments are forgotten", true,
         {{Step::them, "the budget is approved", 0, 5, "them:the budget is approved"},
          {Step::them, "moving on now", 35.1, 37, "them:the budget is approved | them:moving on now"},
          {Step::me, "the budget is approved", 5, 8, "them:the budget is approved | them:moving on now"},
          {Step::stop, "", 0, 0,
           "them:the budget is approved | them:moving on now | me:the budget is approved"}}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        seen.clear();
        startErrors[Speaker::them] = c.hearsCall ? std::nullopt : std::optional(tapFailed);
        start();
        ASSERT_EQ(recorder->state(), State::recording);
        ASSERT_EQ(recorder->capturingSystemAudio(), c.hearsCall);
        for (const Step &step : c.steps) {
            switch (step.kind) {
            case Step::me:
            case Step::them:
                say(step.kind == Step::me ? Speaker::me : Speaker::them, QString::fromUtf8(step.text), step.start,
                    step.end);
                break;
            case Step::pass:
                now += qint64(QByteArray(step.text).toDouble() * 1000);
                if (recorder->findChild<QTimer *>(QStringLiteral("release"))->isActive())
                    fire("release");
                break;
            case Step::stop:
                stop();
                break;
            }
            EXPECT_EQ(seenText(), QString::fromUtf8(step.seenAfter)) << "after " << step.text;
        }
        stop();
        recorder.reset();
    }
}

TEST_F(MeetingRecorderTest, StoresSegmentsAndKeepsGoingWhenTheStoreFails)
{
    startErrors[Speaker::them] = tapFailed;
    start();
    say(Speaker::me, QStringLiteral("so far"), 0, 1, false);
    EXPECT_EQ(recorder->volatileText(Speaker::me), QStringLiteral("so far"));
    // A final result ends the guess; its end is never before its start.
    say(Speaker::me, QStringLiteral("so far so good"), 3, 2);
    EXPECT_TRUE(recorder->volatileText().isEmpty());
    ASSERT_EQ(seen.size(), 1u);
    EXPECT_EQ(meetings.segments(meetingID), QList<TranscriptSegment>{seen[0]});
    EXPECT_GT(seen[0].id, 0);
    EXPECT_EQ(seen[0].end, 3.0);

    library.db->execute(QStringLiteral("DROP TABLE segments"));
    say(Speaker::me, QStringLiteral("still recording"), 4, 5);
    ASSERT_EQ(seen.size(), 2u);
    EXPECT_EQ(seen[1].id, 0);
    EXPECT_EQ(recorder->state(), State::recording);
    stop();
}

TEST_F(MeetingRecorderTest, WarnsAboutWhatCouldNotBeRecorded)
{
    enum class Then { nothing, callSilent, callHeard, micLost, callLost };
    struct Case
    {
        const char *name;
        std::optional<AudioCaptureError> micError;
        bool engineFails;
        std::optional<AudioCaptureError> callError;
        Then then;
        State state;
        bool hearsCall;
        QString warning;
    };
    const Case cases[] = {
        {"everything opens", {}, false, {}, Then::nothing, State::recording, true, {}},
        {"no microphone", AudioCaptureError(AudioCaptureError::Kind::noMicrophone), false, {}, Then::nothing,
         State::idle, false, QStringLiteral("No microphone is available.")},
        {"microphone refused", AudioCaptureError(AudioCaptureError::Kind::microphoneDenied), false, {}, Then::nothing,
         State::idle, false, AudioCaptureError(AudioCaptureError::Kind::microphoneDenied).description()},
        {"no sound server", AudioCaptureError(QStringLiteral("connect to the sound server"), 6), false, {},
         Then::nothing, State::idle, false, QStringLiteral("Couldn't connect to the sound server (PulseAudio error 6).")},
        {"speech model broken", {}, true, {}, Then::nothing, State::idle, false,
         QStringLiteral("The speech model is damaged.")},
        {"no monitor of the output", {}, false, tapFailed, Then::nothing, State::recording, false, microphoneOnly},
        {"call audio silent after 4 s", {}, false, {}, Then::callSilent, State::recording, false, noCallAudio},
        {"call audio flowing after 4 s", {}, false, {}, Then::callHeard, State::recording, true, {}},
        {"microphone unplugged", {}, false, {}, Then::micLost, State::recording, true,
         QStringLiteral("Couldn't keep recording (PulseAudio error 15).")},
        {"output device gone", {}, false, {}, Then::callLost, State::recording, false,
         QStringLiteral("Couldn't keep recording (PulseAudio error 15).")},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        startErrors = {{Speaker::me, c.micError}, {Speaker::them, c.callError}};
        engineFails = c.engineFails;
        start();
        switch (c.then) {
        case Then::nothing:
            break;
        case Then::callSilent:
            fire("deliveryCheck");
            break;
        case Then::callHeard:
            call.load()->play(FakeAudio().silence(0.1));
            fire("deliveryCheck");
            break;
        case Then::micLost:
            mic.load()->fail();
            break;
        case Then::callLost:
            call.load()->fail();
            break;
        }
        QCoreApplication::processEvents();
        EXPECT_EQ(recorder->state(), c.state);
        EXPECT_EQ(recorder->capturingSystemAudio(), c.hearsCall);
        EXPECT_EQ(recorder->warning(), c.warning);
        EXPECT_EQ(recorder->meetingID(), meetingID);
        if (recorder->state() == State::recording)
            stop();
        // The warning outlives the recording; the next start clears it.
        EXPECT_EQ(recorder->warning(), c.warning);
        recorder.reset();
    }
}

TEST_F(MeetingRecorderTest, IgnoresStartWhileRecordingAndStopWhileIdle)
{
    start();
    stop();
    // A delivery check that comes after the recording ended changes nothing.
    fire("deliveryCheck");
    EXPECT_TRUE(recorder->warning().isEmpty());
    recorder->stop();
    EXPECT_EQ(recorder->state(), State::idle);
    recorder->start(QStringLiteral("meeting-2"));
    ASSERT_TRUE(TestEnvironment::waitUntil([&] { return recorder->state() == State::recording; }));
    recorder->start(meetingID);
    EXPECT_EQ(recorder->meetingID(), QStringLiteral("meeting-2"));
    stop();
}

// Audio through the transcribers with the fake engine, whose text is the
// length of the utterance: the same speech on both sides reads the same.
TEST_F(MeetingRecorderTest, SettlesHeldSegmentsAtStop)
{
    struct Case { const char *name; bool callSpeaks; const char *speakers; };
    const Case cases[] = {
        {"my copy of the call is an echo", true, "them"},
        {"my own words are kept at stop", false, "me"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        seen.clear();
        statesSeen.clear();
        start();
        const FakeAudio speech = FakeAudio().silence(0.5).speech(1.2);
        mic.load()->play(speech);
        call.load()->play(c.callSpeaks ? speech : FakeAudio().silence(1.7));
        fire("meterTick");
        EXPECT_GT(recorder->micLevel(), 0.5f);
        EXPECT_EQ(recorder->systemLevel() > 0.5f, c.callSpeaks);
        stop();
        QStringList speakers;
        for (const TranscriptSegment &segment : seen)
            speakers << speakerRawValue(segment.speaker);
        EXPECT_EQ(speakers.join(u' '), QString::fromLatin1(c.speakers));
        // Seen before the recorder went idle, and stored.
        EXPECT_EQ(statesSeen, std::vector<State>(seen.size(), State::stopping));
        EXPECT_EQ(meetings.segments(meetingID).size(), qsizetype(seen.size()));
        EXPECT_EQ(recorder->micLevel(), 0.0f);
        library.db->execute(QStringLiteral("DELETE FROM segments"));
        recorder.reset();
    }
}
