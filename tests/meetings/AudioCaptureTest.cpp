#include "meetings/AudioCapture.h"
#include "support/PrivateSoundServer.h"
#include "support/TestEnvironment.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <mutex>

namespace {

AudioBuffer filled(AudioFormat format, size_t frames, float value)
{
    return AudioBuffer{format, std::vector<float>(frames * size_t(format.channels), value)};
}

AudioBuffer sine(AudioFormat format, double frequency, size_t frames, size_t firstFrame)
{
    AudioBuffer buffer{format, {}};
    for (size_t frame = firstFrame; frame < firstFrame + frames; ++frame) {
        const float value = float(0.5 * std::sin(2 * M_PI * frequency * double(frame) / format.sampleRate));
        for (int channel = 0; channel < format.channels; ++channel)
            buffer.samples.push_back(value);
    }
    return buffer;
}

// The description of the error that start throws.
QString startFailure(PulseAudioCapture &capture)
{
    try {
        capture.start([](const AudioBuffer &) {});
    } catch (const AudioCaptureError &error) {
        return error.description();
    }
    return QStringLiteral("started");
}

} // namespace

TEST(AudioLevels, RootMeanSquareOfTheFirstChannelScaledForTheMeter)
{
    struct Case { AudioBuffer buffer; float level; };
    AudioBuffer stereo{{48000, 2}, {0.1f, 0.9f, -0.1f, 0.9f}};
    const Case cases[] = {
        {filled({16000, 1}, 512, 0.25f), 1.0f},
        {filled({16000, 1}, 512, 0.1f), 0.4f},
        {filled({16000, 1}, 0, 0.5f), 0.0f},
        {stereo, 0.4f},
    };
    for (const Case &c : cases)
        EXPECT_NEAR(rootMeanSquareLevel(c.buffer), c.level, 1e-5);
}

TEST(AudioLevels, MeterJumpsToPeaksAndFallsAway)
{
    LevelMeter meter;
    meter.feed(0.8f);
    meter.feed(0.5f);
    EXPECT_NEAR(meter.drain(), 0.68f, 1e-5);
    EXPECT_NEAR(meter.drain(), 0.408f, 1e-5);
    meter.feed(0.9f);
    EXPECT_NEAR(meter.drain(), 0.9f, 1e-5);
}

TEST(BufferConverter, PassesTheTargetFormatThroughAndResamplesTheRest)
{
    BufferConverter converter;
    const AudioFormat target{16000, 1};
    const AudioBuffer ready = filled(target, 100, 0.1f);
    EXPECT_EQ(&converter.convert(ready, target), &ready);

    // A 440 Hz tone at 48 kHz stereo, in device-sized blocks, comes out at
    // 16 kHz mono with the same pitch and no samples lost between blocks.
    const AudioFormat device{48000, 2};
    std::vector<float> out;
    for (size_t block = 0; block < 12; ++block) {
        const AudioBuffer &converted = converter.convert(sine(device, 440, 4096, block * 4096), target);
        EXPECT_EQ(converted.format, target);
        out.insert(out.end(), converted.samples.begin(), converted.samples.end());
    }
    EXPECT_NEAR(double(out.size()), 12 * 4096 / 3.0, 64);
    int crossings = 0;
    for (size_t i = 1000; i < out.size(); ++i)
        crossings += (out[i - 1] < 0) != (out[i] < 0);
    const double seconds = double(out.size() - 1000) / 16000;
    EXPECT_NEAR(crossings / seconds / 2, 440, 5);

    EXPECT_THROW(converter.convert(filled({0, 2}, 10, 0.1f), target), AudioCaptureError);
    EXPECT_THROW(converter.convert(filled({48000, 0}, 10, 0.1f), target), AudioCaptureError);
}

TEST(AudioCaptureError, DescribesWhatHappenedAndWhatToDo)
{
    const std::pair<AudioCaptureError, QString> cases[] = {
        {AudioCaptureError(QStringLiteral("connect to the sound server"), 6),
         QStringLiteral("Couldn't connect to the sound server (PulseAudio error 6).")},
        {AudioCaptureError(AudioCaptureError::Kind::microphoneDenied),
         QStringLiteral("Larder couldn't open the microphone. Check your desktop's sound settings, and in a sandboxed "
                        "install, Larder's microphone permission.")},
    };
    for (const auto &[error, text] : cases)
        EXPECT_EQ(error.description(), text);
}

class SoundServerTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        server = std::make_unique<PrivateSoundServer>();
        if (!server->isRunning())
            GTEST_SKIP() << "pulseaudio is not installed";
    }

    std::unique_ptr<PrivateSoundServer> server;
};

TEST_F(SoundServerTest, MissingDevicesAndServerGiveClearErrors)
{
    struct Case { const char *name; QStringList setUp; PulseAudioCapture::Device device; QString description; };
    const Case cases[] = {
        {"no microphone", {"unload-module", "module-remap-source"}, PulseAudioCapture::Device::Microphone,
         QStringLiteral("No microphone is available.")},
        {"only a monitor left as the default source", {"set-default-source", "room.monitor"},
         PulseAudioCapture::Device::Microphone, QStringLiteral("No microphone is available.")},
        {"no sound output", {"unload-module", "module-null-sink"}, PulseAudioCapture::Device::SoundOutput,
         QStringLiteral("Couldn't find the output device (PulseAudio error 5).")},
    };
    for (const Case &c : cases) {
        PrivateSoundServer fresh;
        ASSERT_TRUE(fresh.control(c.setUp)) << c.name;
        PulseAudioCapture capture(c.device);
        EXPECT_EQ(startFailure(capture), c.description) << c.name;
    }

    qputenv("PULSE_SERVER", "unix:/nonexistent/native");
    SystemAudioCapture capture;
    EXPECT_TRUE(startFailure(capture).startsWith(QStringLiteral("Couldn't connect to the sound server (PulseAudio error ")));
}

TEST_F(SoundServerTest, AMicrophoneThatGoesAwayEndsItsRecordingWithAWarning)
{
    MicrophoneCapture microphone;
    std::atomic_bool failed = false;
    QString warning;
    std::mutex lock;
    microphone.start([](const AudioBuffer &) {},
                     [&](const AudioCaptureError &error) {
                         std::lock_guard guard(lock);
                         warning = error.description();
                         failed = true;
                     });
    EXPECT_EQ(microphone.deviceName(), QStringLiteral("microphone"));
    ASSERT_TRUE(server->control({"unload-module", "module-remap-source"}));
    ASSERT_TRUE(TestEnvironment::waitUntil([&] { return failed.load(); }, 10000));
    std::lock_guard guard(lock);
    EXPECT_TRUE(warning.startsWith(QStringLiteral("Couldn't keep recording the microphone"))) << warning.toStdString();
}

TEST_F(SoundServerTest, CallAudioFollowsTheDefaultOutput)
{
    ASSERT_TRUE(server->control({"load-module", "module-null-sink", "sink_name=headset"}));
    SystemAudioCapture capture;
    capture.start([](const AudioBuffer &) {});
    EXPECT_EQ(capture.deviceName(), QStringLiteral("speakers.monitor"));
    ASSERT_TRUE(server->control({"set-default-sink", "headset"}));
    EXPECT_TRUE(TestEnvironment::waitUntil([&] { return capture.deviceName() == QStringLiteral("headset.monitor"); }, 10000));
    // Blocks keep coming from the new output.
    const qint64 before = capture.deliveredCount();
    EXPECT_TRUE(TestEnvironment::waitUntil([&] { return capture.deliveredCount() > before + 2; }, 10000));
}
