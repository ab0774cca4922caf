#pragma once

#include <array>
#include <cstddef>
#include <mutex>
#include <vector>

namespace nimbe {

/// The latest input levels. Written on the audio thread; its lock is held for no
/// longer than copying them takes.
class LevelStore {
public:
    // At 20 ms a buffer the last two seconds.
    static constexpr std::size_t capacity = 100;

    void store(double level) noexcept;

    /// Oldest first.
    [[nodiscard]] std::vector<double> latest() const;

    void clear() noexcept;

private:
    mutable std::mutex mutex;
    std::array<double, capacity> levels{};
    std::size_t next = 0;
    std::size_t count = 0;
};

} // namespace nimbe
