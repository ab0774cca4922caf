#pragma once

#include "NimbeEngine/Audio/AudioFormat.h"

namespace nimbe {

/// What the capture hands to the recogniser. The buffer is filled again later: the
/// receiver copies it at once.
struct CapturedAudio {
    const PCMBuffer& buffer;
};

/// Takes sound as it is captured, on the capture's thread, in order.
class AudioSink {
public:
    virtual ~AudioSink() = default;

    /// Real-time safe: does not allocate, wait or log.
    virtual void yield(CapturedAudio audio) noexcept = 0;
};

} // namespace nimbe
