#include "NimbeMCPMode/StandardStreams.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <malloc.h>
#include <poll.h>
#include <unistd.h>

namespace nimbe {
namespace {

/// Allocations from this size on go back to the system when they are freed, instead of
/// raising what is kept.
constexpr int largeAllocation = 256 * 1024;

/// Waits where the client made its end one that does not block; false when that, too, fails.
bool isWorthTryingAgain(int descriptor, short event) {
    if (errno == EINTR) return true;
    if (errno != EAGAIN && errno != EWOULDBLOCK) return false;
    pollfd ready{descriptor, event, 0};
    return ::poll(&ready, 1, -1) >= 0 || errno == EINTR;
}

} // namespace

StandardStreams::StandardStreams() : output(::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3)) {
    // A client that has gone is told by write() instead.
    std::signal(SIGPIPE, SIG_IGN);
    ::dup2(STDERR_FILENO, STDOUT_FILENO);
    ::mallopt(M_MMAP_THRESHOLD, largeAllocation);
    ::mallopt(M_TRIM_THRESHOLD, largeAllocation);
}

StandardStreams::~StandardStreams() {
    if (output >= 0) ::close(output);
}

std::size_t StandardStreams::read(std::span<char> into) {
    while (true) {
        const auto count = ::read(STDIN_FILENO, into.data(), into.size());
        if (count >= 0) return static_cast<std::size_t>(count);
        if (!isWorthTryingAgain(STDIN_FILENO, POLLIN)) return 0;
    }
}

bool StandardStreams::write(std::string_view bytes) {
    while (!bytes.empty()) {
        const auto count = ::write(output, bytes.data(), bytes.size());
        if (count >= 0)
            bytes.remove_prefix(static_cast<std::size_t>(count));
        else if (!isWorthTryingAgain(output, POLLOUT))
            return false;
    }
    return true;
}

void StandardStreams::memoryBecameFree() {
    ::malloc_trim(0);
}

} // namespace nimbe
