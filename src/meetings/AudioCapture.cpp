#include "meetings/AudioCapture.h"

#include <samplerate.h>

#include <algorithm>
#include <cmath>

BufferConverter::BufferConverter() = default;

BufferConverter::~BufferConverter()
{
    if (m_state)
        src_delete(m_state);
}

const AudioBuffer &BufferConverter::convert(const AudioBuffer &buffer, const AudioFormat &format)
{
    if (buffer.format == format)
        return buffer;
    const AudioFormat &from = buffer.format;
    if (from.sampleRate <= 0 || from.channels <= 0 || format.sampleRate <= 0 || format.channels <= 0
        || (format.channels != 1 && format.channels != from.channels))
        throw AudioCaptureError(AudioCaptureError::Kind::unsupportedFormat);

    if (!m_state || !(m_from == from) || !(m_to == format)) {
        if (m_state)
            src_delete(m_state);
        int error = 0;
        m_state = src_new(SRC_SINC_FASTEST, format.channels, &error);
        if (!m_state)
            throw AudioCaptureError(AudioCaptureError::Kind::unsupportedFormat);
        m_from = from;
        m_to = format;
    }

    const size_t frames = buffer.frameLength();
    const float *input = buffer.samples.data();
    if (format.channels == 1 && from.channels > 1) {
        m_mixed.resize(frames);
        for (size_t frame = 0; frame < frames; ++frame) {
            float sum = 0.0f;
            for (int channel = 0; channel < from.channels; ++channel)
                sum += input[frame * size_t(from.channels) + size_t(channel)];
            m_mixed[frame] = sum / float(from.channels);
        }
        input = m_mixed.data();
    }

    const double ratio = double(format.sampleRate) / double(from.sampleRate);
    const size_t capacity = size_t(std::ceil(ratio * double(frames))) + 16;
    m_output.format = format;
    m_output.samples.resize(capacity * size_t(format.channels));
    SRC_DATA data{};
    data.data_in = input;
    data.input_frames = long(frames);
    data.data_out = m_output.samples.data();
    data.output_frames = long(capacity);
    data.src_ratio = ratio;
    data.end_of_input = 0;
    if (src_process(m_state, &data) != 0)
        throw AudioCaptureError(AudioCaptureError::Kind::unsupportedFormat);
    m_output.samples.resize(size_t(data.output_frames_gen) * size_t(format.channels));
    return m_output;
}

float rootMeanSquareLevel(const AudioBuffer &buffer)
{
    const size_t frames = buffer.frameLength();
    if (frames == 0)
        return 0.0f;
    const size_t stride = size_t(buffer.format.channels);
    double sum = 0.0;
    for (size_t frame = 0; frame < frames; ++frame) {
        const double sample = buffer.samples[frame * stride];
        sum += sample * sample;
    }
    return float(std::min(1.0, std::sqrt(sum / double(frames)) * 4.0));
}

void LevelMeter::feed(float level)
{
    std::lock_guard lock(m_lock);
    m_value = std::max(m_value * 0.85f, level);
}

float LevelMeter::drain()
{
    std::lock_guard lock(m_lock);
    const float value = m_value;
    m_value *= 0.6f;
    return value;
}
