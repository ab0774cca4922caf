#include "NimbeMCPMode/SessionBusPlace.h"

#include <cstdlib>
#include <sys/stat.h>
#include <unistd.h>

namespace nimbe {
namespace {

constexpr const char* address = "DBUS_SESSION_BUS_ADDRESS";

} // namespace

std::optional<std::string> SessionBusPlace::find(
    const Environment& environment, const std::filesystem::path& runtimes) {
    for (const auto* name : {address, "XDG_RUNTIME_DIR"})
        if (const auto value = environment(name); value && !value->empty()) return std::nullopt;
    const auto bus = runtimes / std::to_string(::getuid()) / "bus";
    struct stat status {};
    if (::stat(bus.c_str(), &status) != 0) return std::nullopt;
    if (!S_ISSOCK(status.st_mode) || status.st_uid != ::getuid()) return std::nullopt;
    return "unix:path=" + bus.string();
}

void SessionBusPlace::adopt() {
    const auto ofThisProcess = [](const char* name) -> std::optional<std::string> {
        const char* value = std::getenv(name);
        return value ? std::optional<std::string>(value) : std::nullopt;
    };
    // systemd's place, and elogind's.
    if (const auto found = find(ofThisProcess, "/run/user")) ::setenv(address, found->c_str(), 1);
}

} // namespace nimbe
