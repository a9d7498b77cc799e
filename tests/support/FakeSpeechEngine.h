// A speech engine for the tests of the streaming logic: a window is speech
// when any of its samples is louder than 0.05, and the "text" of an
// utterance says how many seconds were decoded. It counts its decodes.
#pragma once

#include "platform/SpeechEngine.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <vector>

class FakeSpeechEngine : public SpeechEngine
{
public:
    std::unique_ptr<VoiceDetector> makeVoiceDetector() const override
    {
        struct Loudness : VoiceDetector {
            float speechProbability(std::span<const float> w) override
            {
                return std::any_of(w.begin(), w.end(), [](float s) { return std::fabs(s) > 0.05f; }) ? 0.9f : 0.0f;
            }
        };
        return std::make_unique<Loudness>();
    }

    QString transcribe(std::span<const float> utterance, Decoding = Decoding::thorough) const override
    {
        ++decodes;
        return QString::number(double(utterance.size()) / sampleRate, 'f', 2);
    }

    mutable std::atomic_int decodes{0};
};

// Test audio at the engine's rate: speech is a loud tone, the rest silence.
struct FakeAudio
{
    std::vector<float> samples;

    FakeAudio &speech(double seconds)
    {
        for (int i = 0; i < int(seconds * SpeechEngine::sampleRate); ++i)
            samples.push_back(0.5f * float(std::sin(i * 0.2)) + (i % 2 ? 0.1f : -0.1f));
        return *this;
    }
    FakeAudio &silence(double seconds)
    {
        samples.resize(samples.size() + size_t(seconds * SpeechEngine::sampleRate), 0.0f);
        return *this;
    }
};
