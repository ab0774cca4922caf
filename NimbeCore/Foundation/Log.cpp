#include "Foundation/Log.h"

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <string>

namespace nimbe {
namespace {

constexpr std::size_t longestLine = 1000;

__attribute__((format(printf, 4, 0))) void writeLine(LogSink& sink, std::string_view category,
    LogLevel level, const char* format, va_list arguments) {
    std::array<char, longestLine + 1> buffer{};
    const int wanted = std::vsnprintf(buffer.data(), buffer.size(), format, arguments);
    if (wanted < 0) return;
    const auto length = std::min(static_cast<std::size_t>(wanted), longestLine);
    const auto isControl = [](char c) {
        return (c >= 0 && c < 0x20) || c == 0x7F;
    };
    std::replace_if(buffer.begin(), buffer.begin() + length, isControl, ' ');
    sink.write(level, category, {buffer.data(), length});
}

const char* word(LogLevel level) {
    switch (level) {
    case LogLevel::debug: return "debug";
    case LogLevel::info: return "info";
    case LogLevel::warning: return "warning";
    case LogLevel::error: return "error";
    }
    return "";
}

} // namespace

void Log::debug(const char* format, ...) const {
    va_list arguments;
    va_start(arguments, format);
    writeLine(*sink, category, LogLevel::debug, format, arguments);
    va_end(arguments);
}

void Log::info(const char* format, ...) const {
    va_list arguments;
    va_start(arguments, format);
    writeLine(*sink, category, LogLevel::info, format, arguments);
    va_end(arguments);
}

void Log::warning(const char* format, ...) const {
    va_list arguments;
    va_start(arguments, format);
    writeLine(*sink, category, LogLevel::warning, format, arguments);
    va_end(arguments);
}

void Log::error(const char* format, ...) const {
    va_list arguments;
    va_start(arguments, format);
    writeLine(*sink, category, LogLevel::error, format, arguments);
    va_end(arguments);
}

void StandardErrorLog::write(LogLevel level, std::string_view category, std::string_view line) {
    if (level < least) return;
    // One call, so that lines of several threads do not mix.
    std::string whole;
    whole.reserve(line.size() + category.size() + 32);
    whole.append(logSubsystem).append(":").append(category).append(" ").append(word(level));
    whole.append(": ").append(line).append("\n");
    std::fwrite(whole.data(), 1, whole.size(), stderr);
}

} // namespace nimbe
