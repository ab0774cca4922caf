#include <cstring>
#include <fstream>
#include <map>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "NimbeMCPMode/SessionBusPlace.h"
#include "Support/TemporaryFolder.h"

namespace nimbe {

TEST(SessionBusPlace, isUsedWhereTheEnvironmentSaysNothing) {
    const TemporaryFolder runtimes;
    const auto own = runtimes.path / std::to_string(::getuid());
    const auto bus = own / "bus";
    std::map<std::string, std::string> variables;
    const auto find = [&] {
        const auto environment = [&](const char* name) {
            const auto found = variables.find(name);
            return found == variables.end() ? std::nullopt : std::optional(found->second);
        };
        return SessionBusPlace::find(environment, runtimes.path);
    };
    EXPECT_EQ(find(), std::nullopt);
    std::filesystem::create_directory(own);
    std::ofstream(bus) << "no socket";
    EXPECT_EQ(find(), std::nullopt);
    std::filesystem::remove(bus);

    const int listener = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un name{AF_UNIX, {}};
    ASSERT_LT(bus.native().size(), sizeof name.sun_path);
    std::memcpy(name.sun_path, bus.c_str(), bus.native().size());
    ASSERT_EQ(::bind(listener, reinterpret_cast<const sockaddr*>(&name), sizeof name), 0);
    EXPECT_EQ(find(), "unix:path=" + bus.string());
    for (const auto* named : {"DBUS_SESSION_BUS_ADDRESS", "XDG_RUNTIME_DIR"}) {
        variables = {{named, "/elsewhere"}};
        EXPECT_EQ(find(), std::nullopt) << named;
        variables = {{named, ""}};
        EXPECT_NE(find(), std::nullopt) << named;
    }
    variables = {};
    if (::getuid() == 0) {
        ASSERT_EQ(::lchown(bus.c_str(), 12345, 12345), 0);
        EXPECT_EQ(find(), std::nullopt) << "another user's";
    }
    ::close(listener);
}

} // namespace nimbe
