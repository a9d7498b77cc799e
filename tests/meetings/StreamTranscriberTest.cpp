#include "meetings/AudioCapture.h"
#include "meetings/StreamTranscriber.h"
#include "support/FakeSpeechEngine.h"
#include "support/PrivateSoundServer.h"
#include "support/SpeechFixtures.h"
#include "support/TestEnvironment.h"

#include <gtest/gtest.h>

#include <QTemporaryDir>

#include <mutex>

namespace {

// Updates collected from the inference thread.
struct Collected
{
    std::mutex lock;
    std::vector<TranscriptUpdate> updates;

    SpeechStream::UpdateHandler handler()
    {
        return [this](const TranscriptUpdate &u) {
            std::lock_guard guard(lock);
            updates.push_back(u);
        };
    }
    std::vector<TranscriptUpdate> finals()
    {
        std::lock_guard guard(lock);
        std::vector<TranscriptUpdate> result;
        std::copy_if(updates.begin(), updates.end(), std::back_inserter(result), [](const auto &u) { return u.isFinal; });
        return result;
    }
};

AudioBuffer deviceBuffer(const FakeAudio &audio)
{
    // As a 48 kHz stereo device delivers it.
    AudioBuffer buffer{{48000, 2}, {}};
    for (float sample : audio.samples) {
        for (int repeat = 0; repeat < 6; ++repeat)
            buffer.samples.push_back(sample);
    }
    return buffer;
}

} // namespace

TEST(StreamTranscriber, TakesAudioOnlyBetweenStartAndFinish)
{
    auto engine = std::make_shared<FakeSpeechEngine>();
    const AudioBuffer speech = deviceBuffer(FakeAudio().silence(1.0).speech(1.0));
    struct Case { const char *name; bool appendBeforeStart; bool start; bool appendAfterFinish; size_t finals; };
    const Case cases[] = {
        {"never started", true, false, false, 0},
        {"before start", true, true, false, 0},
        {"after finish", false, true, true, 0},
    };
    for (const Case &c : cases) {
        Collected collected;
        StreamTranscriber transcriber(Speaker::them);
        if (c.appendBeforeStart)
            transcriber.append(speech);
        if (c.start)
            transcriber.start(engine, collected.handler());
        transcriber.finish();
        if (c.appendAfterFinish)
            transcriber.append(speech);
        EXPECT_EQ(collected.finals().size(), c.finals) << c.name;
    }
}

TEST(StreamTranscriber, SpeechOpenAtFinishArrivesAsFinalBeforeFinishReturns)
{
    auto engine = std::make_shared<FakeSpeechEngine>();
    Collected collected;
    StreamTranscriber transcriber(Speaker::them);
    transcriber.start(engine, collected.handler());
    // Device-format audio is converted: times count seconds of this stream.
    transcriber.append(deviceBuffer(FakeAudio().silence(1.0).speech(1.0)));
    transcriber.append(AudioBuffer{{0, 0}, {0.5f}}); // can't be converted: dropped
    transcriber.finish();
    const std::vector<TranscriptUpdate> finals = collected.finals();
    ASSERT_EQ(finals.size(), 1u);
    EXPECT_EQ(finals[0].speaker, Speaker::them);
    EXPECT_NEAR(finals[0].start, 0.7, 0.05);
    EXPECT_NEAR(finals[0].end, 2.0, 0.05);
}

// The whole path: speech played into a private sound server, recorded from
// the microphone and from the monitor of the speakers at once, resampled,
// cut and transcribed by the on-device model.
TEST(StreamTranscriber, HearsBothSidesOfACallThroughTheSoundServer)
{
    PrivateSoundServer server;
    if (!server.isRunning())
        GTEST_SKIP() << "pulseaudio is not installed";
    std::shared_ptr<const SpeechEngine> engine = StreamTranscriber::prepareModel();

    QTemporaryDir folder;
    const QString theirs = folder.filePath(QStringLiteral("them.wav"));
    const QString mine = folder.filePath(QStringLiteral("me.wav"));
    ASSERT_TRUE(SpeechFixtures::writeSpeech(theirs, QStringLiteral("Can you send me the quarterly budget tomorrow?")));
    ASSERT_TRUE(SpeechFixtures::writeSpeech(mine, QStringLiteral("Yes, I will send the report in the morning."),
                                            {QStringLiteral("en-gb"), 150}));

    Collected me, them;
    StreamTranscriber meTranscriber(Speaker::me), themTranscriber(Speaker::them);
    meTranscriber.start(engine, me.handler());
    themTranscriber.start(engine, them.handler());
    MicrophoneCapture microphone;
    SystemAudioCapture callAudio;
    microphone.start([&](const AudioBuffer &buffer) { meTranscriber.append(buffer); });
    callAudio.start([&](const AudioBuffer &buffer) { themTranscriber.append(buffer); });

    auto theirPlayer = server.play(theirs, QStringLiteral("speakers"));
    auto myPlayer = server.play(mine, QStringLiteral("room"));
    ASSERT_TRUE(TestEnvironment::waitUntil([&] {
        return theirPlayer->state() == QProcess::NotRunning && myPlayer->state() == QProcess::NotRunning;
    }, 30000));
    // Let the closing pause of each utterance reach the transcribers.
    ASSERT_TRUE(TestEnvironment::waitUntil([&] { return !me.finals().empty() && !them.finals().empty(); }, 30000));
    microphone.stop();
    callAudio.stop();
    meTranscriber.finish();
    themTranscriber.finish();
    EXPECT_GT(callAudio.deliveredCount(), 0);

    const std::pair<Collected *, QStringList> expectations[] = {{&them, {"send", "quarterly", "budget", "tomorrow"}},
                                                                 {&me, {"send", "report", "morning"}}};
    for (const auto &[collected, keyWords] : expectations) {
        QStringList heard;
        for (const TranscriptUpdate &u : collected->finals()) {
            heard << SpeechFixtures::words(u.text);
            EXPECT_GE(u.start, 0.0);
            EXPECT_GT(u.end, u.start);
            // The sentences last about three seconds each.
            EXPECT_LT(u.end - u.start, 6.0) << u.text.toStdString();
        }
        for (const QString &word : keyWords)
            EXPECT_TRUE(heard.contains(word)) << word.toStdString() << " in " << heard.join(' ').toStdString();
    }
}
