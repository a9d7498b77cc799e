// Turns one live audio stream into text on the device. A recording runs two
// side by side: the microphone as "me" and the call audio as "them". Buffers
// come in from the capture thread in the device's own format; the
// transcriber converts them, queues them without ever blocking the capture,
// and decodes on an inference thread of its own, so that each stream keeps
// one core. Updates go to the callback from that thread.
#pragma once

#include "meetings/AudioCapture.h"
#include "meetings/SpeechStream.h"

#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

class StreamTranscriber
{
public:
    // Loads the speech engine once for the process (later calls share it).
    // Every locale is transcribed as English. Throws SpeechEngineError.
    static std::shared_ptr<const SpeechEngine> prepareModel();

    explicit StreamTranscriber(Speaker speaker);
    // Finishes first, if start was called and finish was not.
    ~StreamTranscriber();
    StreamTranscriber(const StreamTranscriber &) = delete;
    StreamTranscriber &operator=(const StreamTranscriber &) = delete;

    Speaker speaker() const { return m_speaker; }

    // Starts the inference thread. onUpdate is called from that thread.
    void start(std::shared_ptr<const SpeechEngine> engine, SpeechStream::UpdateHandler onUpdate,
               UtteranceTimings timings = {});
    // From the capture thread; never throws. Buffers that arrive before
    // start or after finish began are dropped, and so is one that can't be
    // converted.
    void append(const AudioBuffer &buffer);
    // Ends the input, decodes what is left, and returns when the last update
    // has been delivered. Returns at once on a transcriber never started.
    void finish();

private:
    void run(std::shared_ptr<const SpeechEngine> engine, SpeechStream::UpdateHandler onUpdate, UtteranceTimings timings);

    const Speaker m_speaker;
    BufferConverter m_converter; // only the one capture thread uses it

    std::mutex m_lock;
    std::condition_variable m_wake;
    std::vector<float> m_pending; // converted samples not yet decoded
    bool m_accepting = false;
    bool m_ending = false;
    std::thread m_thread;
};
