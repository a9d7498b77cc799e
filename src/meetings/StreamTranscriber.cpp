#include "meetings/StreamTranscriber.h"

#include "platform/MoonshineEngine.h"

std::shared_ptr<const SpeechEngine> StreamTranscriber::prepareModel()
{
    static std::mutex mutex;
    static std::weak_ptr<const SpeechEngine> shared;
    std::lock_guard lock(mutex);
    std::shared_ptr<const SpeechEngine> engine = shared.lock();
    if (!engine) {
        engine = MoonshineEngine::load();
        shared = engine;
    }
    return engine;
}

StreamTranscriber::StreamTranscriber(Speaker speaker)
    : m_speaker(speaker)
{
}

StreamTranscriber::~StreamTranscriber()
{
    finish();
}

void StreamTranscriber::start(std::shared_ptr<const SpeechEngine> engine, SpeechStream::UpdateHandler onUpdate,
                              UtteranceTimings timings)
{
    std::lock_guard lock(m_lock);
    if (m_thread.joinable())
        return;
    m_accepting = true;
    m_thread = std::thread(&StreamTranscriber::run, this, std::move(engine), std::move(onUpdate), timings);
}

void StreamTranscriber::append(const AudioBuffer &buffer)
{
    {
        std::lock_guard lock(m_lock);
        if (!m_accepting)
            return;
    }
    try {
        const AudioBuffer &converted = m_converter.convert(buffer, AudioFormat{SpeechEngine::sampleRate, 1});
        std::lock_guard lock(m_lock);
        if (!m_accepting)
            return;
        m_pending.insert(m_pending.end(), converted.samples.begin(), converted.samples.end());
    } catch (const AudioCaptureError &) {
        return;
    }
    m_wake.notify_one();
}

void StreamTranscriber::finish()
{
    {
        std::lock_guard lock(m_lock);
        m_accepting = false;
        m_ending = true;
    }
    m_wake.notify_one();
    if (m_thread.joinable() && m_thread.get_id() != std::this_thread::get_id())
        m_thread.join();
}

void StreamTranscriber::run(std::shared_ptr<const SpeechEngine> engine, SpeechStream::UpdateHandler onUpdate,
                            UtteranceTimings timings)
{
    SpeechStream stream(*engine, m_speaker, std::move(onUpdate), timings);
    std::vector<float> batch;
    for (;;) {
        bool ending = false;
        {
            std::unique_lock lock(m_lock);
            m_wake.wait(lock, [this] { return m_ending || !m_pending.empty(); });
            batch.swap(m_pending);
            ending = m_ending;
        }
        // Whatever came while the last decode ran is taken in one go, so a
        // stream that fell behind catches up without a guess at every step.
        stream.feed(batch);
        batch.clear();
        if (ending) {
            std::lock_guard lock(m_lock);
            if (m_pending.empty())
                break;
        }
    }
    stream.finish();
}
