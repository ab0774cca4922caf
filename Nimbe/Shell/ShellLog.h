#pragma once

#include <ostream>

#include "Foundation/Log.h"

namespace nimbe {

/// What goes wrong under a verb, for whoever runs it: causes that the verb's own
/// message does not know. One thread.
class ShellLog final : public LogSink {
public:
    explicit ShellLog(std::ostream& error) : error(error) {}

    void write(LogLevel level, std::string_view /*category*/, std::string_view line) override {
        if (level == LogLevel::error) error << "nimbe: " << line << "\n";
    }

private:
    std::ostream& error;
};

} // namespace nimbe
