#include "meetings/MeetingRecorder.h"
#include "meetings/MeetingStore.h"
#include "platform/AudioSource.h"
#include "support/FakeSpeechEngine.h"
#include "support/TestEnvironment.h"
#include "support/TestLibrary.h"

#include <gtest/gtest.h>

#include <QCoreApplication>

#include <map>

using State = MeetingRecorder::State;

namespace {

// Plays what the test hands it, on the test's thread, at the engine's rate.
struct FakeSource : AudioSource
{
    explicit FakeSource(std::optional<AudioCaptureError> startError) : startError(std::move(startError)) {}
    void start(BufferHandler buffers, FailureHandler failure) override
    {
        if (startError)
            throw *startError;
        onBuffer = std::move(buffers);
        onFailure = std::move(failure);
    }
    void stop() override { onBuffer = nullptr; }
    qint64 deliveredCount() const override { return delivered; }
    void play(const FakeAudio &audio)
    {
        ++delivered;
        onBuffer(AudioBuffer{{SpeechEngine::sampleRate, 1}, audio.samples});
    }

    std::optional<AudioCaptureError> startError;
    BufferHandler onBuffer;
    FailureHandler onFailure;
    std::atomic<qint64> delivered{0};
};

const AudioCaptureError noMonitor(QStringLiteral("find the output device"), 5);

class MeetingRecorderTest : public ::testing::Test
{
protected:
    void SetUp() override { meetings.insert(meetingID, QDateTime::currentDateTime(), QStringLiteral("en-US")); }
    void TearDown() override
    {
        recorder.reset();
        Tasks::waitForIdle();
    }

    // A new recorder, started; returns once it records or has given up.
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
        seen.clear();
        recorder = std::make_unique<MeetingRecorder>(meetings, parts);
        recorder->setOnSegment([this](const TranscriptSegment &segment) {
            seen.push_back(segment);
            seenWhile.push_back(recorder->state());
        });
        recorder->start(meetingID);
        ASSERT_TRUE(TestEnvironment::waitUntil([&] { return recorder->state() != State::preparing; }));
    }
    void stop()
    {
        ASSERT_TRUE(TestEnvironment::waitUntil([&] { return recorder->state() != State::preparing; }));
        recorder->stop();
        ASSERT_TRUE(TestEnvironment::waitUntil([&] { return recorder->state() == State::idle; }, 10000));
    }
    void settle()
    {
        recorder->finishWriting();
        QCoreApplication::processEvents();
    }
    void fire(const QString &timerName)
    {
        auto *timer = recorder->findChild<QTimer *>(timerName);
        timer->stop();
        QMetaObject::invokeMethod(timer, "timeout");
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
    std::vector<State> seenWhile;
};

TranscriptSegment segment(Speaker speaker, const char *text, double start, double end)
{
    return {0, {}, speaker, start, end, QString::fromUtf8(text)};
}

} // namespace

TEST(EchoFilter, ComparesWordSetsOfNearbyCallSegments)
{
    const auto me = [](const char *text, double start = 1, double end = 3) { return segment(Speaker::me, text, start, end); };
    const auto them = [](const char *text, double start = 1, double end = 3) { return segment(Speaker::them, text, start, end); };
    const struct { const char *name; TranscriptSegment mine; QList<TranscriptSegment> recent; bool echo; } cases[] = {
        {"three of four words", me("send the budget report"), {them("please send the budget tomorrow")}, true},
        {"two of four words", me("send the quarterly report"), {them("please send the budget tomorrow")}, false},
        {"one-letter words only", me("I a"), {}, true},
        {"4.0 s after", me("we ship it", 0, 2), {them("we ship it", 6.0, 8)}, true},
        {"4.1 s after", me("we ship it", 0, 2), {them("we ship it", 6.1, 8)}, false},
        {"a wordless candidate", me("ok"), {them("a"), them("ok")}, true},
        {"the call itself", them("yes"), {them("yes")}, false},
    };
    for (const auto &c : cases)
        EXPECT_EQ(isEcho(c.mine, c.recent, MeetingRecorder::echoWindow), c.echo) << c.name;
    EXPECT_EQ(echoTokens(QStringLiteral("It's O'Brien's 2nd DRAFT, draft")),
              (QSet<QString>{QStringLiteral("it"), QStringLiteral("brien"), QStringLiteral("2nd"), QStringLiteral("draft")}));
}

// Final results in the order the transcribers deliver them, on a clock the
// test moves. A step is "me START END words", "them START END words",
// "pass SECONDS" (the release timer fires if armed) or "stop"; after each,
// the segments accepted so far.
TEST_F(MeetingRecorderTest, HoldsMySegmentsAndDropsEchoesOfTheCall)
{
    const struct { const char *name; bool hearsCall; std::vector<std::pair<const char *, const char *>> steps; } cases[] = {
        {"held until the hold runs out", true,
         {{"me 0 2 see you soon", ""}, {"pass 2.4", ""}, {"pass 0.2", "me:see you soon"}}},
        {"at once without the call", false, {{"me 0 2 see you soon", "me:see you soon"}, {"me 3 4 I", "me:see you soon | me:I"}}},
        {"dropped when its echo comes", true,
         {{"me 1 3 thanks for joining everyone", ""}, {"pass 2.0", ""},
          {"them 0.5 3.2 Thanks for joining, everyone!", "them:Thanks for joining, everyone!"},
          {"stop", "them:Thanks for joining, everyone!"}}},
        {"never taken back once stored", true,
         {{"me 1 3 thanks for joining", ""}, {"pass 2.6", "me:thanks for joining"},
          {"them 4 6 thanks for joining", "me:thanks for joining | them:thanks for joining"}}},
        {"kept at stop", true, {{"me 10 11 yes", ""}, {"them 10 12 yes I agree", "them:yes I agree"},
                                {"me 12 13 I", "them:yes I agree"}, {"stop", "them:yes I agree | me:yes"}}},
        {"the call's last 30 s are kept", true,
         {{"them 0 5 the budget is approved", "them:the budget is approved"},
          {"them 35 37 moving on", "them:the budget is approved | them:moving on"},
          {"me 5 8 the budget is approved", "them:the budget is approved | them:moving on"},
          {"stop", "them:the budget is approved | them:moving on"}}},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        startErrors[Speaker::them] = c.hearsCall ? std::nullopt : std::optional(noMonitor);
        start();
        ASSERT_EQ(recorder->capturingSystemAudio(), c.hearsCall);
        for (const auto &[step, seenAfter] : c.steps) {
            const QStringList words = QString::fromUtf8(step).split(u' ');
            if (words[0] == u"stop") {
                stop();
            } else if (words[0] == u"pass") {
                now += qint64(words[1].toDouble() * 1000);
                if (recorder->findChild<QTimer *>(QStringLiteral("release"))->isActive())
                    fire(QStringLiteral("release"));
            } else {
                recorder->handleUpdate({words[0] == u"me" ? Speaker::me : Speaker::them, words.mid(3).join(u' '), true,
                                        words[1].toDouble(), words[2].toDouble()});
                settle();
            }
            EXPECT_EQ(seenText(), QString::fromUtf8(seenAfter)) << step;
        }
        stop();
    }
}

TEST_F(MeetingRecorderTest, StoresSegmentsAndKeepsRecordingWhenTheStoreFails)
{
    startErrors[Speaker::them] = noMonitor;
    start();
    // A segment's end is never before its start.
    recorder->handleUpdate({Speaker::me, QStringLiteral("so far so good"), true, 3, 2});
    settle();
    ASSERT_EQ(seen.size(), 1u);
    EXPECT_EQ(seen[0].end, 3.0);
    EXPECT_EQ(meetings.segments(meetingID), QList<TranscriptSegment>{seen[0]});

    library.db->execute(QStringLiteral("DROP TABLE segments"));
    recorder->handleUpdate({Speaker::me, QStringLiteral("still recording"), true, 4, 5});
    settle();
    ASSERT_EQ(seen.size(), 2u);
    EXPECT_EQ(seen[1].id, 0);
    EXPECT_EQ(recorder->state(), State::recording);
}

TEST_F(MeetingRecorderTest, WarnsAboutWhatCannotBeRecorded)
{
    const QString noCallAudio = QStringLiteral(
        "Couldn't read call audio from this output device, so only your microphone is being transcribed. Switching "
        "output (for example to the computer's built-in speakers) and recording again usually fixes it.");
    const QString lost = QStringLiteral("Couldn't keep recording (PulseAudio error 15).");
    enum class Then { nothing, checkSilentCall, checkLiveCall, checkAfterStop, callLost };
    const struct { const char *name; std::optional<AudioCaptureError> micError, callError; bool engineFails; Then then;
                   State state; bool hearsCall; QString warning; } cases[] = {
        {"speech model broken", {}, {}, true, Then::nothing, State::idle, false, QStringLiteral("The speech model is damaged.")},
        {"silent call after 4 s", {}, {}, false, Then::checkSilentCall, State::recording, false, noCallAudio},
        {"call heard after 4 s", {}, {}, false, Then::checkLiveCall, State::recording, true, {}},
        {"stopped before 4 s", {}, {}, false, Then::checkAfterStop, State::idle, false, {}},
        {"output gone", {}, {}, false, Then::callLost, State::recording, false, lost},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        startErrors = {{Speaker::me, c.micError}, {Speaker::them, c.callError}};
        engineFails = c.engineFails;
        start();
        if (c.then == Then::checkLiveCall)
            call.load()->play(FakeAudio().silence(0.1));
        if (c.then == Then::checkAfterStop)
            stop();
        if (c.then == Then::checkSilentCall || c.then == Then::checkLiveCall || c.then == Then::checkAfterStop)
            fire(QStringLiteral("deliveryCheck"));
        if (c.then == Then::callLost)
            call.load()->onFailure(AudioCaptureError(QStringLiteral("keep recording"), 15));
        QCoreApplication::processEvents();
        EXPECT_EQ(recorder->state(), c.state);
        EXPECT_EQ(recorder->capturingSystemAudio(), c.hearsCall);
        EXPECT_EQ(recorder->warning(), c.warning);
        EXPECT_EQ(recorder->meetingID(), meetingID);
        // Neither a start while recording nor a stop while idle does anything.
        recorder->start(QStringLiteral("meeting-2"));
        EXPECT_EQ(recorder->meetingID(), c.state == State::idle ? QStringLiteral("meeting-2") : meetingID);
        stop();
    }
}

// Audio through the transcribers with the fake engine, whose text is the
// length of the utterance: the same speech on both sides reads the same.
TEST_F(MeetingRecorderTest, SettlesHeldSegmentsAtStop)
{
    const struct { const char *name; bool callSpeaks; const char *speakers; } cases[] = {
        {"my copy of the call is an echo", true, "them"},
        {"my own words are kept", false, "me"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        seenWhile.clear();
        start();
        const FakeAudio speech = FakeAudio().silence(0.5).speech(1.2);
        mic.load()->play(speech);
        call.load()->play(c.callSpeaks ? speech : FakeAudio().silence(1.7));
        fire(QStringLiteral("meterTick"));
        EXPECT_GT(recorder->micLevel(), 0.5f);
        EXPECT_EQ(recorder->systemLevel() > 0.5f, c.callSpeaks);
        stop();
        EXPECT_EQ(recorder->micLevel(), 0.0f);
        QStringList speakers;
        for (const TranscriptSegment &segment : seen)
            speakers << speakerRawValue(segment.speaker);
        EXPECT_EQ(speakers.join(u' '), QString::fromLatin1(c.speakers));
        // Handed on before the recorder went idle.
        EXPECT_EQ(seenWhile, std::vector<State>(seen.size(), State::stopping));
    }
}
