// An audio source the test plays into: each play() hands the samples to the
// recorder at once, on the test's thread, at the speech engine's rate. A
// start error makes it fail to open, as a missing device does.
#pragma once

#include "platform/AudioSource.h"
#include "support/FakeSpeechEngine.h"

#include <atomic>
#include <optional>

struct FakeAudioSource : AudioSource
{
    explicit FakeAudioSource(std::optional<AudioCaptureError> error = std::nullopt) : startError(std::move(error)) {}
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
