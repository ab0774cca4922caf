#include "NimbeEngine/Audio/SampleQueue.h"

#include <algorithm>

namespace nimbe {

std::size_t SampleQueue::push(std::span<const float> added) noexcept {
    const auto size = samples.size();
    const auto from = tail.load(std::memory_order_relaxed);
    const auto free = (head.load(std::memory_order_acquire) + size - from - 1) % size;
    const auto count = std::min(added.size(), free);
    const auto first = std::min(count, size - from);
    std::copy_n(added.begin(), first, samples.begin() + static_cast<std::ptrdiff_t>(from));
    std::copy_n(added.begin() + static_cast<std::ptrdiff_t>(first), count - first, samples.begin());
    tail.store((from + count) % size, std::memory_order_release);
    return count;
}

std::size_t SampleQueue::pop(std::span<float> taken) noexcept {
    const auto size = samples.size();
    const auto from = head.load(std::memory_order_relaxed);
    const auto filled = (tail.load(std::memory_order_acquire) + size - from) % size;
    const auto count = std::min(taken.size(), filled);
    const auto first = std::min(count, size - from);
    std::copy_n(samples.begin() + static_cast<std::ptrdiff_t>(from), first, taken.begin());
    std::copy_n(samples.begin(), count - first, taken.begin() + static_cast<std::ptrdiff_t>(first));
    head.store((from + count) % size, std::memory_order_release);
    return count;
}

void SampleQueue::clear() noexcept {
    head.store(0, std::memory_order_relaxed);
    tail.store(0, std::memory_order_relaxed);
}

} // namespace nimbe
