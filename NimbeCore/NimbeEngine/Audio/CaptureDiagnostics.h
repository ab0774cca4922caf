#pragma once

#include <atomic>
#include <cstdint>

namespace nimbe {

/// Counters of one recording, for the log. Written on the audio thread, read anywhere.
struct CaptureDiagnostics {
    std::atomic<std::uint64_t> tapBuffers = 0; // received from the input
    std::atomic<std::uint64_t> converted = 0;
    std::atomic<std::uint64_t> converterErrors = 0;
    std::atomic<std::uint64_t> lastConvertedFrames = 0;
    std::atomic<std::uint64_t> analyzerYields = 0;   // handed to the recogniser
    std::atomic<const char*> lastError = "";         // of the conversion; a literal
    std::atomic<std::uint64_t> firstTapUptimeNs = 0; // monotonic clock; 0: not yet
    std::atomic<std::uint64_t> lastTapUptimeNs = 0;

    void reset();
};

} // namespace nimbe
