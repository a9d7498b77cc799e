// On-device speech recognition behind one small interface: a voice detector
// that scores short windows of audio, and an engine that turns one utterance
// into text. Audio is mono float samples at sampleRate.
#pragma once

#include "core/Errors.h"

#include <QString>

#include <memory>
#include <span>

// Loading or running the speech model failed.
class SpeechEngineError : public DescribedError
{
public:
    explicit SpeechEngineError(QString description);
    QString description() const override;

private:
    QString m_description;
};

// Scores consecutive windows of one stream; it keeps state between windows,
// so each stream needs its own detector.
class VoiceDetector
{
public:
    virtual ~VoiceDetector() = default;
    // The probability, 0 to 1, that the window holds speech.
    virtual float speechProbability(std::span<const float> window) = 0;
};

class SpeechEngine
{
public:
    static constexpr int sampleRate = 16000;
    // Samples in one detector window (32 ms).
    static constexpr int windowSamples = 512;

    virtual ~SpeechEngine() = default;
    virtual std::unique_ptr<VoiceDetector> makeVoiceDetector() const = 0;
    // How hard a decode tries: a running guess is decoded quickly, again and
    // again while speech goes on; the final text of an utterance, once, with
    // more care.
    enum class Decoding { quick, thorough };

    // The words of one utterance, trimmed; may be empty. Safe to call from
    // several threads at once, one utterance each. Throws SpeechEngineError.
    virtual QString transcribe(std::span<const float> utterance, Decoding decoding = Decoding::thorough) const = 0;
};
