#include "meetings/MeetingRecorder.h"
#include "meetings/MeetingStore.h"
#include "meetings/MeetingText.h"
#include "support/FakeAudioSource.h"
#include "support/TestEnvironment.h"
#include "support/TestLibrary.h"

#include <gtest/gtest.h>

#include <QCoreApplication>

using State = MeetingRecorder::State;

namespace {

const AudioCaptureError lost(QStringLiteral("keep recording"), 15);

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
    void start(bool hearsCall = true, bool engineFails = false)
    {
        MeetingRecorder::Parts parts = MeetingRecorder::Parts::onThisComputer();
        parts.loadEngine = [this, engineFails]() -> std::shared_ptr<const SpeechEngine> {
            if (engineFails)
                throw SpeechEngineError(QStringLiteral("The speech model is damaged."));
            return engine;
        };
        parts.openSource = [this, hearsCall](Speaker speaker) {
            auto source = std::make_unique<FakeAudioSource>(speaker == Speaker::them && !hearsCall ? std::optional(lost) : std::nullopt);
            (speaker == Speaker::me ? mic : call) = source.get();
            return source;
        };
        parts.clock = [this] { return now.load(); };
        seen.clear();
        seenWhile.clear();
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
    std::atomic<FakeAudioSource *> mic{nullptr}, call{nullptr};
    std::atomic<qint64> now{0};
    std::unique_ptr<MeetingRecorder> recorder;
    std::vector<TranscriptSegment> seen;
    std::vector<State> seenWhile;
};

} // namespace

TEST(EchoFilter, ComparesWordSetsOfNearbyCallSegments)
{
    const auto me = [](const char *text, double start = 1, double end = 3) { return TranscriptSegment{0, {}, Speaker::me, start, end, QString::fromUtf8(text)}; };
    const auto them = [](const char *text, double start = 1, double end = 3) { return TranscriptSegment{0, {}, Speaker::them, start, end, QString::fromUtf8(text)}; };
    const struct { TranscriptSegment mine; QList<TranscriptSegment> recent; bool echo; } cases[] = {
        {me("send the budget report"), {them("please send the budget tomorrow")}, true}, // 3 of 4 words
        {me("send the quarterly report"), {them("please send the budget tomorrow")}, false}, // 2 of 4
        {me("we ship it", 0, 2), {them("we ship it", 6.0, 8)}, true},
        {me("we ship it", 0, 2), {them("we ship it", 6.1, 8)}, false},
        {me("ok"), {them("a"), them("ok")}, true},
        {them("yes"), {them("yes")}, false},
    };
    for (const auto &c : cases)
        EXPECT_EQ(isEcho(c.mine, c.recent, MeetingRecorder::echoWindow), c.echo) << c.mine.text.toStdString();
    EXPECT_EQ(echoTokens(QStringLiteral("It's O'Brien's 2nd DRAFT, draft")),
              (QSet<QString>{QStringLiteral("it"), QStringLiteral("brien"), QStringLiteral("2nd"), QStringLiteral("draft")}));
}

// Final results in the order the transcribers deliver them, on a clock the
// test moves. A step is "me START END words", "them START END words",
// "pass SECONDS" (the release timer fires if armed) or "stop"; after each,
// the segments accepted so far.
TEST_F(MeetingRecorderTest, HoldsMySegmentsAndDropsEchoesOfTheCall)
{
    const struct { bool hearsCall; std::vector<std::pair<const char *, const char *>> steps; } cases[] = {
        {true, {{"me 0 2 see you soon", ""}, {"pass 2.4", ""}, {"pass 0.2", "me:see you soon"}}},
        {false, {{"me 0 2 see you soon", "me:see you soon"}, {"me 3 4 I", "me:see you soon | me:I"}}},
        {true, {{"me 1 3 thanks for joining everyone", ""}, {"pass 2.0", ""},
                {"them 0.5 3.2 Thanks for joining, everyone!", "them:Thanks for joining, everyone!"},
                {"stop", "them:Thanks for joining, everyone!"}}},
        // Once stored, never taken back.
        {true, {{"me 1 3 thanks for joining", ""}, {"pass 2.6", "me:thanks for joining"},
                {"them 4 6 thanks for joining", "me:thanks for joining | them:thanks for joining"}}},
        {true, {{"me 10 11 yes", ""}, {"them 10 12 yes I agree", "them:yes I agree"}, {"me 12 13 I", "them:yes I agree"},
                {"stop", "them:yes I agree | me:yes"}}},
        // The call's segments of the last 30 s are compared.
        {true, {{"them 0 5 the budget is approved", "them:the budget is approved"},
                {"them 35 37 moving on", "them:the budget is approved | them:moving on"},
                {"me 5 8 the budget is approved", "them:the budget is approved | them:moving on"},
                {"stop", "them:the budget is approved | them:moving on"}}},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.steps.front().first);
        start(c.hearsCall);
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

TEST_F(MeetingRecorderTest, WarnsAboutWhatCannotBeRecorded)
{
    const QString noCallAudio = QStringLiteral(
        "Couldn't read call audio from this output device, so only your microphone is being transcribed. Switching "
        "output (for example to the computer's built-in speakers) and recording again usually fixes it.");
    enum class Then { nothing, checkSilentCall, checkLiveCall, checkAfterStop, callLost, microphoneLost };
    const struct { Then then; bool engineFails; State state; bool hearsCall; QString warning; } cases[] = {
        {Then::nothing, true, State::idle, false, QStringLiteral("The speech model is damaged.")},
        {Then::checkSilentCall, false, State::recording, false, noCallAudio},
        {Then::checkLiveCall, false, State::recording, true, {}},
        {Then::checkAfterStop, false, State::idle, false, {}},
        {Then::callLost, false, State::recording, false, lost.description()},
        // The microphone unplugged: the call goes on being recorded.
        {Then::microphoneLost, false, State::recording, true, lost.description()},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(int(c.then));
        start(true, c.engineFails);
        if (c.then == Then::checkLiveCall)
            call.load()->play(FakeAudio().silence(0.1));
        if (c.then == Then::checkAfterStop)
            stop();
        if (c.then == Then::checkSilentCall || c.then == Then::checkLiveCall || c.then == Then::checkAfterStop)
            fire(QStringLiteral("deliveryCheck"));
        if (c.then == Then::callLost)
            call.load()->onFailure(lost);
        if (c.then == Then::microphoneLost)
            mic.load()->onFailure(lost);
        QCoreApplication::processEvents();
        EXPECT_EQ(recorder->state(), c.state);
        EXPECT_EQ(recorder->capturingSystemAudio(), c.hearsCall);
        EXPECT_EQ(recorder->warning(), c.warning);
        // Neither a start while recording nor a stop while idle does anything.
        recorder->start(QStringLiteral("meeting-2"));
        EXPECT_EQ(recorder->meetingID(), c.state == State::idle ? QStringLiteral("meeting-2") : meetingID);
        stop();
    }
}

// Audio through the transcribers with the fake engine, whose text is the
// length of the utterance: the same speech on both sides reads the same.
TEST_F(MeetingRecorderTest, SettlesHeldSegmentsAtStopEvenWhenTheStoreFails)
{
    for (const bool callSpeaks : {true, false}) {
        start();
        if (!callSpeaks)
            library.db->execute(QStringLiteral("DROP TABLE segments"));
        const FakeAudio speech = FakeAudio().silence(0.5).speech(1.2);
        mic.load()->play(speech);
        call.load()->play(callSpeaks ? speech : FakeAudio().silence(1.7));
        fire(QStringLiteral("meterTick"));
        EXPECT_GT(recorder->micLevel(), 0.5f);
        EXPECT_EQ(recorder->systemLevel() > 0.5f, callSpeaks);
        stop();
        // My copy of the call is an echo; my own words are kept, and handed
        // on before the recorder went idle.
        ASSERT_EQ(seen.size(), 1u);
        EXPECT_EQ(seen[0].speaker, callSpeaks ? Speaker::them : Speaker::me);
        EXPECT_EQ(seenWhile[0], State::stopping);
        EXPECT_EQ(recorder->micLevel(), 0.0f);
        // A segment that couldn't be stored still goes on, with id 0.
        EXPECT_EQ(seen[0].id > 0, callSpeaks);
        if (callSpeaks) {
            EXPECT_EQ(meetings.segments(meetingID), QList<TranscriptSegment>{seen[0]});
        }
    }
}
