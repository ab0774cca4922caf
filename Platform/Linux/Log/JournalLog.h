#pragma once

#include <filesystem>
#include <memory>

#include "Foundation/Log.h"

namespace nimbe {

/// Lines in the systemd journal, with the fields PRIORITY, SYSLOG_IDENTIFIER
/// ("nimbe"), NIMBE_SUBSYSTEM and NIMBE_CATEGORY, so that
/// `journalctl NIMBE_CATEGORY=settings` shows one category. A line that the
/// journal does not take at once is dropped: logging never waits.
///
/// https://systemd.io/JOURNAL_NATIVE_PROTOCOL/
class JournalLog final : public LogSink {
public:
    /// Null when there is no journal at `socket`.
    [[nodiscard]] static std::unique_ptr<JournalLog> connect(
        const std::filesystem::path& socket = "/run/systemd/journal/socket");

    ~JournalLog() override;
    JournalLog(const JournalLog&) = delete;
    JournalLog& operator=(const JournalLog&) = delete;

    void write(LogLevel level, std::string_view category, std::string_view line) override;

private:
    explicit JournalLog(int descriptor) : descriptor(descriptor) {}
    int descriptor;
};

/// The journal, or standard error for lines of at least `least`.
[[nodiscard]] std::unique_ptr<LogSink> systemLog(LogLevel least);

} // namespace nimbe
