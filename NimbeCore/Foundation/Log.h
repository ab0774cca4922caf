#pragma once

#include <string_view>

namespace nimbe {

enum class LogLevel { debug, info, warning, error };

/// The name under which every line of the product stands in a shared log.
inline constexpr std::string_view logSubsystem = "com.nimbehq";

/// Where lines go. Any thread; never fails.
class LogSink {
public:
    virtual ~LogSink() = default;
    virtual void write(LogLevel level, std::string_view category, std::string_view line) = 0;
};

/// One category's lines. They begin with a lower-case area word and a colon, and
/// hold lengths, counts and codes: never a word of what was said, nor keys, nor
/// clipboard contents. A line is cut at 1,000 bytes and its control characters
/// become spaces, so that no argument can forge another line. Any thread.
class Log {
public:
    Log(LogSink& sink, std::string_view category) : sink(&sink), category(category) {}

    void debug(const char* format, ...) const __attribute__((format(printf, 2, 3)));
    void info(const char* format, ...) const __attribute__((format(printf, 2, 3)));
    void warning(const char* format, ...) const __attribute__((format(printf, 2, 3)));
    void error(const char* format, ...) const __attribute__((format(printf, 2, 3)));

private:
    LogSink* sink;
    std::string_view category; // a literal
};

/// Writes lines of at least one level to standard error.
class StandardErrorLog final : public LogSink {
public:
    explicit StandardErrorLog(LogLevel least) : least(least) {}
    void write(LogLevel level, std::string_view category, std::string_view line) override;

private:
    LogLevel least;
};

} // namespace nimbe
