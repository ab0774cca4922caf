#pragma once

#include <algorithm>
#include <array>
#include <ostream>

#include "Foundation/Log.h"

namespace nimbe {

/// What goes wrong under a verb, for whoever runs it: causes that the verb's own
/// message does not know. One thread.
class ShellLog final : public LogSink {
public:
    explicit ShellLog(std::ostream& error) : error(error) {}

    void write(LogLevel level, std::string_view /*category*/, std::string_view line) override {
        // What fails in a dictation comes to the verb in the user's words; not that the
        // end of the text may be missing.
        constexpr std::array told{"audio:", "engine", "asr:", "results stream:"};
        const bool isTold = std::any_of(told.begin(), told.end(),
            [&](std::string_view area) { return line.starts_with(area); });
        if (level == LogLevel::error && !isTold) error << "nimbe: " << line << "\n";
    }

private:
    std::ostream& error;
};

} // namespace nimbe
