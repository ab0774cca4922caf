#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "Foundation/Log.h"

namespace nimbe {

/// Keeps the lines. Any thread, but `lines` is for when those that write have ended.
class FakeLogSink final : public LogSink {
public:
    struct Line {
        LogLevel level;
        std::string category;
        std::string text;
    };
    std::vector<Line> lines;

    void write(LogLevel level, std::string_view category, std::string_view line) override {
        const std::lock_guard lock(mutex);
        lines.push_back({level, std::string(category), std::string(line)});
    }

    [[nodiscard]] bool has(LogLevel level, std::string_view part) const {
        const std::lock_guard lock(mutex);
        for (const auto& line : lines)
            if (line.level == level && line.text.find(part) != line.text.npos) return true;
        return false;
    }

    /// For the message of a failed expectation.
    [[nodiscard]] std::string all() const {
        const std::lock_guard lock(mutex);
        std::string text;
        for (const auto& line : lines) text += line.text + "\n";
        return text;
    }

private:
    mutable std::mutex mutex;
};

} // namespace nimbe
