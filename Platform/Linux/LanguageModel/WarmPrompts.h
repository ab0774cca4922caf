#pragma once

#include <deque>
#include <string>

#include "Foundation/Date.h"

namespace nimbe {

/// Which instructions models have read lately: they are loaded, and those are in their cache.
class WarmPrompts {
public:
    /// Ollama unloads a model that was not asked for five minutes.
    static constexpr Seconds warm = 240;
    /// As many as a server may keep.
    static constexpr std::size_t most = 8;

    void add(std::string model, std::string instructions, Seconds now) {
        std::erase_if(read, [&](const Read& one) {
            return one.model == model && one.instructions == instructions;
        });
        read.push_back({std::move(model), std::move(instructions), now});
        if (read.size() > most) read.pop_front();
    }
    void forget(const std::string& model) {
        std::erase_if(read, [&](const Read& one) { return one.model == model; });
    }
    [[nodiscard]] bool has(
        const std::string& model, const std::string& instructions, Seconds now) const {
        for (const auto& one : read)
            if (one.model == model && one.instructions == instructions) return now < one.at + warm;
        return false;
    }

private:
    struct Read {
        std::string model; // with its server
        std::string instructions;
        Seconds at = 0;
    };
    std::deque<Read> read;
};

} // namespace nimbe
