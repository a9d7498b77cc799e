// PCM audio as it travels from a capture device to the transcriber: float
// samples, interleaved by channel, with their rate. Nothing here touches
// the disk: audio exists only as buffers in flight.
#pragma once

#include "core/Errors.h"

#include <QString>

#include <vector>

struct AudioFormat
{
    int sampleRate = 0;
    int channels = 0;

    friend bool operator==(const AudioFormat &, const AudioFormat &) = default;
};

struct AudioBuffer
{
    AudioFormat format;
    std::vector<float> samples; // frames × channels, interleaved

    size_t frameLength() const { return format.channels > 0 ? samples.size() / size_t(format.channels) : 0; }
};

// Opening or reading a capture device failed. The description is shown to
// the user as it stands.
class AudioCaptureError : public DescribedError
{
public:
    enum class Kind { pulseAudio, noMicrophone, microphoneDenied, unsupportedFormat };

    explicit AudioCaptureError(Kind kind);
    // A failed step of the sound server: "Couldn't <what> (PulseAudio error N)."
    AudioCaptureError(QString what, int status);

    Kind kind() const { return m_kind; }
    QString step() const { return m_what; }
    int status() const { return m_status; }
    QString description() const override;

private:
    Kind m_kind;
    QString m_what;
    int m_status = 0;
};
