// Recording from the PulseAudio sound server (PipeWire desktops serve the
// same client interface). Each capture runs its own connection on a thread
// of its own and hands each block of samples, in the device's own rate and
// channel count, to a handler on that thread.
#pragma once

#include "platform/AudioSource.h"

#include <memory>

class PulseAudioCapture : public AudioSource
{
public:
    enum class Device {
        // The default source, following the user's choice while recording.
        Microphone,
        // The monitor of the default sink: what the computer plays. When the
        // default sink changes, the capture moves to the new one's monitor.
        SoundOutput,
    };

    explicit PulseAudioCapture(Device device);
    ~PulseAudioCapture() override;
    PulseAudioCapture(const PulseAudioCapture &) = delete;
    PulseAudioCapture &operator=(const PulseAudioCapture &) = delete;

    // Connects and starts recording; throws AudioCaptureError, leaving
    // nothing open. onBuffer runs on the capture's thread for every block.
    // onFailure, if given, hears once when recording ends on its own (the
    // device went away, the server stopped); what came before is kept. Both
    // run on the capture's thread and must not call stop(): hand over to
    // another thread first.
    void start(BufferHandler onBuffer, FailureHandler onFailure = {}) override;
    // Releases everything; safe to call repeatedly and after a failed start.
    void stop() override;

    // Blocks handed to the handler since start, silent ones included.
    qint64 deliveredCount() const override;
    // The device being recorded, as the sound server names it.
    QString deviceName() const;

private:
    struct Connection;
    const Device m_device;
    std::unique_ptr<Connection> m;
};
