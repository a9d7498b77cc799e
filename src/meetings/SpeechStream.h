// One live stream of speech turned into text by a speech engine that only
// transcribes whole utterances. The voice detector cuts the audio into
// utterances; while one goes on it is decoded again at intervals, which gives
// the running (volatile) guess; a pause or the longest allowed utterance
// closes it, and its last decode is the final result. Times are seconds of
// audio fed to this stream, counted from its samples.
#pragma once

#include "meetings/Speaker.h"
#include "platform/SpeechEngine.h"

#include <QString>

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <vector>

struct TranscriptUpdate
{
    Speaker speaker = Speaker::them;
    QString text; // trimmed; may be empty
    bool isFinal = false;
    double start = 0; // seconds
    double end = 0;

    friend bool operator==(const TranscriptUpdate &, const TranscriptUpdate &) = default;
};

struct UtteranceTimings
{
    double volatileInterval = 0.5; // seconds of new speech between running guesses
    double closingSilence = 0.3;   // a pause this long ends an utterance
    double longestUtterance = 20.0;
    double leadIn = 0.3;           // audio kept from before the speech began
    double shortestSpeech = 0.1;   // anything shorter is a click, not speech
    float speechThreshold = 0.5f;  // a window this likely opens an utterance
    float pauseThreshold = 0.35f;  // and one below this counts towards a pause
};

class SpeechStream
{
public:
    using UpdateHandler = std::function<void(const TranscriptUpdate &)>;

    SpeechStream(const SpeechEngine &engine, Speaker speaker, UpdateHandler onUpdate, UtteranceTimings timings = {});
    ~SpeechStream();

    // Mono samples at the engine's rate. Utterances that close on the way are
    // decoded and reported as final; then, when enough speech came since the
    // last guess, the open utterance is decoded once as a volatile result.
    void feed(std::span<const float> samples);
    // Closes the open utterance, if any, and reports it as final.
    void finish();

private:
    void processWindow(std::span<const float> window);
    void close(int64_t endSample);
    void report(bool isFinal, int64_t endSample);

    const SpeechEngine &m_engine;
    const Speaker m_speaker;
    const UpdateHandler m_onUpdate;
    const UtteranceTimings m_timings;
    std::unique_ptr<VoiceDetector> m_detector;

    std::vector<float> m_partialWindow;
    std::vector<float> m_leadIn;      // the last windows before the utterance
    std::vector<float> m_utterance;   // empty when none is open
    int64_t m_consumed = 0;           // samples passed to the detector
    int64_t m_utteranceStart = 0;
    int64_t m_speechSamples = 0;
    int64_t m_pauseSamples = 0;
    size_t m_guessedSize = 0;         // utterance size at the last guess
    bool m_guessShown = false;        // for the open utterance
};
