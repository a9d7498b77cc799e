// Anything that records: it hands blocks of samples to a handler on a thread
// of its own until it is stopped, and says how many it has handed over.
#pragma once

#include "platform/AudioBuffer.h"

#include <functional>

class AudioSource
{
public:
    using BufferHandler = std::function<void(const AudioBuffer &)>;
    using FailureHandler = std::function<void(const AudioCaptureError &)>;

    virtual ~AudioSource() = default;

    // Starts recording; throws AudioCaptureError, leaving nothing open.
    // onBuffer runs on the source's thread for every block. onFailure, if
    // given, hears once when recording ends on its own; what came before is
    // kept. Neither may call stop(): hand over to another thread first.
    virtual void start(BufferHandler onBuffer, FailureHandler onFailure = {}) = 0;
    // Releases everything; safe to call repeatedly and after a failed start.
    virtual void stop() = 0;
    // Blocks handed to the handler since start, silent ones included.
    virtual qint64 deliveredCount() const = 0;
};
