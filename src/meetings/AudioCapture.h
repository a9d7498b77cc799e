// The two sources of a meeting, the microphone and what the computer plays
// (the other side of a call), with what the recorder needs around them: a
// converter to the speech engine's format and the level shown on screen.
#pragma once

#include "platform/AudioBuffer.h"
#include "platform/PulseAudioCapture.h"

#include <mutex>

struct SRC_STATE_tag;

// The default source. Throws noMicrophone when there is none, and
// microphoneDenied when it can't be opened.
class MicrophoneCapture : public PulseAudioCapture
{
public:
    MicrophoneCapture()
        : PulseAudioCapture(Device::Microphone)
    {
    }
};

// The monitor of the default sink, following the default while recording.
class SystemAudioCapture : public PulseAudioCapture
{
public:
    SystemAudioCapture()
        : PulseAudioCapture(Device::SoundOutput)
    {
    }
};

// Converts buffers of one stream to another rate and channel count (mixing
// channels down by their mean), keeping the resampler's state between
// buffers so that the stream stays continuous. One stream per converter.
class BufferConverter
{
public:
    BufferConverter();
    ~BufferConverter();
    BufferConverter(const BufferConverter &) = delete;
    BufferConverter &operator=(const BufferConverter &) = delete;

    // The buffer itself when it is in the format already; otherwise the
    // converter's own output, valid until the next call. Throws
    // AudioCaptureError(unsupportedFormat) on a format it can't take.
    const AudioBuffer &convert(const AudioBuffer &buffer, const AudioFormat &format);

private:
    SRC_STATE_tag *m_state = nullptr;
    AudioFormat m_from;
    AudioFormat m_to;
    std::vector<float> m_mixed;
    AudioBuffer m_output;
};

// The level of a buffer for the meter, 0 to 1: the root mean square of its
// first channel, scaled by 4 so that speech fills the meter.
float rootMeanSquareLevel(const AudioBuffer &buffer);

// The level shown on screen: fed by the capture thread for each buffer,
// drained by the screen's tick. Peaks show at once and fall away slowly.
class LevelMeter
{
public:
    void feed(float level);
    float drain();

private:
    std::mutex m_lock;
    float m_value = 0.0f;
};
