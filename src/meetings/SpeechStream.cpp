#include "meetings/SpeechStream.h"

#include <algorithm>

namespace {

int64_t samplesOf(double seconds)
{
    return int64_t(seconds * SpeechEngine::sampleRate);
}

double secondsOf(int64_t samples)
{
    return double(samples) / SpeechEngine::sampleRate;
}

} // namespace

SpeechStream::SpeechStream(const SpeechEngine &engine, Speaker speaker, UpdateHandler onUpdate, UtteranceTimings timings)
    : m_engine(engine)
    , m_speaker(speaker)
    , m_onUpdate(std::move(onUpdate))
    , m_timings(timings)
    , m_detector(engine.makeVoiceDetector())
{
    m_partialWindow.reserve(SpeechEngine::windowSamples);
}

SpeechStream::~SpeechStream() = default;

void SpeechStream::feed(std::span<const float> samples)
{
    const size_t window = SpeechEngine::windowSamples;
    while (!samples.empty()) {
        const size_t take = std::min(window - m_partialWindow.size(), samples.size());
        m_partialWindow.insert(m_partialWindow.end(), samples.begin(), samples.begin() + take);
        samples = samples.subspan(take);
        if (m_partialWindow.size() == window) {
            processWindow(m_partialWindow);
            m_partialWindow.clear();
        }
    }
    if (!m_utterance.empty() && m_utterance.size() - m_guessedSize >= size_t(samplesOf(m_timings.volatileInterval))) {
        m_guessedSize = m_utterance.size();
        m_guessShown = true;
        report(false, m_consumed - m_pauseSamples);
    }
}

void SpeechStream::processWindow(std::span<const float> window)
{
    float probability = 0.0f;
    try {
        probability = m_detector->speechProbability(window);
    } catch (const SpeechEngineError &) {
        // A window the detector couldn't score counts as a pause.
    }
    const int64_t windowStart = m_consumed;
    m_consumed += int64_t(window.size());

    if (m_utterance.empty()) {
        if (probability < m_timings.speechThreshold) {
            m_leadIn.insert(m_leadIn.end(), window.begin(), window.end());
            const size_t keep = size_t(samplesOf(m_timings.leadIn));
            if (m_leadIn.size() > keep)
                m_leadIn.erase(m_leadIn.begin(), m_leadIn.end() - keep);
            return;
        }
        m_utterance = std::move(m_leadIn);
        m_leadIn.clear();
        m_utteranceStart = windowStart - int64_t(m_utterance.size());
        // Guesses count the speech, not the lead-in.
        m_guessedSize = m_utterance.size();
        m_guessShown = false;
        m_utterance.insert(m_utterance.end(), window.begin(), window.end());
        m_speechSamples = int64_t(window.size());
        m_pauseSamples = 0;
        return;
    }

    m_utterance.insert(m_utterance.end(), window.begin(), window.end());
    if (probability < m_timings.pauseThreshold) {
        m_pauseSamples += int64_t(window.size());
    } else {
        m_speechSamples += int64_t(window.size()) + m_pauseSamples;
        m_pauseSamples = 0;
    }
    if (m_pauseSamples >= samplesOf(m_timings.closingSilence))
        close(m_consumed - m_pauseSamples);
    else if (int64_t(m_utterance.size()) >= samplesOf(m_timings.longestUtterance))
        close(m_consumed);
}

void SpeechStream::finish()
{
    if (!m_partialWindow.empty()) {
        m_partialWindow.resize(SpeechEngine::windowSamples, 0.0f);
        processWindow(m_partialWindow);
        m_partialWindow.clear();
    }
    if (!m_utterance.empty())
        close(m_consumed - m_pauseSamples);
}

void SpeechStream::close(int64_t endSample)
{
    // A click is dropped, unless a guess for it was shown already: that
    // guess must be answered by a final result.
    if (m_speechSamples >= samplesOf(m_timings.shortestSpeech) || m_guessShown)
        report(true, endSample);
    // The closing pause leads into the next utterance; speech cut at the
    // longest length is not repeated in it.
    const size_t keep = std::min({m_utterance.size(), size_t(samplesOf(m_timings.leadIn)), size_t(m_pauseSamples)});
    m_leadIn.assign(m_utterance.end() - keep, m_utterance.end());
    m_utterance.clear();
    m_speechSamples = 0;
    m_pauseSamples = 0;
    m_guessShown = false;
}

void SpeechStream::report(bool isFinal, int64_t endSample)
{
    QString text;
    try {
        text = m_engine.transcribe(m_utterance, isFinal ? SpeechEngine::Decoding::thorough : SpeechEngine::Decoding::quick);
    } catch (const SpeechEngineError &) {
        // A failed decode loses this utterance's text only.
    }
    m_onUpdate(TranscriptUpdate{m_speaker, text, isFinal, secondsOf(m_utteranceStart), secondsOf(endSample)});
}
