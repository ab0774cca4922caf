#pragma once

#include <string>

#include "Foundation/Log.h"

namespace nimbe {

/// Keeps the first warning or error, which is the cause of those that follow it, for whoever
/// reports what came of it. One thread.
class QuietLog final : public LogSink {
public:
    void write(LogLevel level, std::string_view category, std::string_view line) override;

    /// Empty when there was none since it was taken before.
    [[nodiscard]] std::string take();

private:
    std::string first;
};

} // namespace nimbe
