#include "PlatformStorage/FileLock.h"

#include <chrono>
#include <fcntl.h>
#include <sys/file.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace nimbe {

std::optional<FileLock> FileLock::acquire(const std::filesystem::path& file, Seconds patience) {
    const int descriptor = ::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (descriptor < 0) return std::nullopt;
    FileLock lock(descriptor);
    // flock has no deadline of its own, so it is asked again every so often.
    constexpr auto pause = std::chrono::milliseconds(10);
    const auto deadline =
        std::chrono::steady_clock::now() + std::chrono::duration<Seconds>(patience);
    while (::flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
        if (std::chrono::steady_clock::now() >= deadline) return std::nullopt;
        std::this_thread::sleep_for(pause);
    }
    return lock;
}

FileLock::FileLock(FileLock&& other) noexcept : descriptor(std::exchange(other.descriptor, -1)) {}

FileLock& FileLock::operator=(FileLock&& other) noexcept {
    std::swap(descriptor, other.descriptor);
    return *this;
}

FileLock::~FileLock() {
    if (descriptor >= 0) ::close(descriptor);
}

} // namespace nimbe
