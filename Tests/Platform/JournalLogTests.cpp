#include <array>
#include <cstring>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "PlatformLog/JournalLog.h"
#include "Support/TemporaryFolder.h"

namespace nimbe {

TEST(JournalLog, sendsOneDatagramOfFieldsAndNeverWaits) {
    const TemporaryFolder folder;
    const auto path = folder.path / "socket";
    EXPECT_EQ(JournalLog::connect(path), nullptr) << "no journal";

    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, path.c_str());
    const int journal = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    ASSERT_EQ(::bind(journal, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    const auto sink = JournalLog::connect(path);
    ASSERT_NE(sink, nullptr);

    const Log log(*sink, "audio");
    log.warning("audio: device gone\nPRIORITY=0 status=%d", -5);
    std::array<char, 2048> buffer{};
    const auto size = ::recv(journal, buffer.data(), buffer.size(), 0);
    ASSERT_GT(size, 0);
    EXPECT_EQ(std::string(buffer.data(), static_cast<std::size_t>(size)),
        "PRIORITY=4\nSYSLOG_IDENTIFIER=nimbe\nNIMBE_SUBSYSTEM=com.nimbehq\nNIMBE_CATEGORY=audio\n"
        "MESSAGE=audio: device gone PRIORITY=0 status=-5\n");

    // Nobody reads: the queue fills and the rest is dropped.
    for (int i = 0; i < 10'000; ++i) log.info("audio: %d", i);
    ::close(journal);
    log.error("audio: the journal is gone");
}

} // namespace nimbe
