#pragma once

#include <atomic>
#include <cstddef>
#include <span>
#include <vector>

namespace nimbe {

/// Samples from one thread to one other, in order, without locks or allocation.
class SampleQueue {
public:
    explicit SampleQueue(std::size_t capacity) : samples(capacity + 1) {}

    /// As many as there is room for. The producer's thread.
    std::size_t push(std::span<const float> added) noexcept;

    /// As many as there are, up to the span's size. The consumer's thread.
    std::size_t pop(std::span<float> taken) noexcept;

    /// Only while neither thread uses it.
    void clear() noexcept;

private:
    std::vector<float> samples;        // one place stays free: full is not empty
    std::atomic<std::size_t> head = 0; // next to be taken
    std::atomic<std::size_t> tail = 0; // next to be filled
};

} // namespace nimbe
