#include "NimbeEngine/Audio/LevelStore.h"

#include <algorithm>

namespace nimbe {

void LevelStore::store(double level) noexcept {
    const std::lock_guard lock(mutex);
    levels[next] = level;
    next = (next + 1) % capacity;
    count = std::min(count + 1, capacity);
}

std::vector<double> LevelStore::latest() const {
    std::vector<double> all;
    all.reserve(capacity); // not while the audio thread may wait
    const std::lock_guard lock(mutex);
    for (std::size_t i = 0; i < count; ++i)
        all.push_back(levels[(next + capacity - count + i) % capacity]);
    return all;
}

void LevelStore::clear() noexcept {
    const std::lock_guard lock(mutex);
    next = 0;
    count = 0;
}

} // namespace nimbe
