#include "PlatformLog/JournalLog.h"

#include <cstring>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace nimbe {
namespace {

/// The journal's priorities are syslog's.
const char* priority(LogLevel level) {
    switch (level) {
    case LogLevel::debug: return "7";
    case LogLevel::info: return "6";
    case LogLevel::warning: return "4";
    case LogLevel::error: return "3";
    }
    return "6";
}

/// Lines hold no line break, so the simple form of a field serves.
void addField(std::string& datagram, std::string_view name, std::string_view value) {
    datagram.append(name).append("=").append(value).append("\n");
}

} // namespace

std::unique_ptr<JournalLog> JournalLog::connect(const std::filesystem::path& socket) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string& path = socket.native();
    if (path.size() >= sizeof address.sun_path) return nullptr;
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);

    const int descriptor = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (descriptor < 0) return nullptr;
    std::unique_ptr<JournalLog> log(new JournalLog(descriptor));
    const auto* generic = reinterpret_cast<const sockaddr*>(&address);
    if (::connect(descriptor, generic, sizeof address) != 0) return nullptr;
    return log;
}

JournalLog::~JournalLog() {
    ::close(descriptor);
}

void JournalLog::write(LogLevel level, std::string_view category, std::string_view line) {
    std::string datagram;
    addField(datagram, "PRIORITY", priority(level));
    addField(datagram, "SYSLOG_IDENTIFIER", "nimbe");
    addField(datagram, "NIMBE_SUBSYSTEM", logSubsystem);
    addField(datagram, "NIMBE_CATEGORY", category);
    addField(datagram, "MESSAGE", line);
    (void)::send(descriptor, datagram.data(), datagram.size(), MSG_NOSIGNAL);
}

std::unique_ptr<LogSink> systemLog(LogLevel least) {
    if (auto journal = JournalLog::connect()) return journal;
    return std::make_unique<StandardErrorLog>(least);
}

} // namespace nimbe
