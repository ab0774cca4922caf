#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Foundation/Task.h"

namespace nimbe {

class PulseConnection;

/// A source of the sound server, and how to ask for it. Without an answer when the
/// connection breaks; no deadlines here.
struct PulseSource {
    std::string name;        // persistent
    std::string description; // for people
    std::string channelMap;  // as libpulse writes it
    std::uint32_t sampleRate = 0;
    unsigned channels = 0;
    bool isMonitor = false; // plays back what others play

    using Sources = std::vector<PulseSource>;
    [[nodiscard]] static Task<std::optional<Sources>> all(
        std::shared_ptr<PulseConnection> connection);
    [[nodiscard]] static Task<std::optional<PulseSource>> named(
        std::shared_ptr<PulseConnection> connection, std::string name);
    /// The default one.
    [[nodiscard]] static Task<std::optional<PulseSource>> standard(
        std::shared_ptr<PulseConnection> connection);
};

} // namespace nimbe
