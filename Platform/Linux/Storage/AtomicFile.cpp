#include "PlatformStorage/AtomicFile.h"

#include <cerrno>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "Foundation/UUID.h"

namespace nimbe {
namespace {

namespace fs = std::filesystem;

std::error_code lastError() {
    return {errno, std::generic_category()};
}

/// Closes and, until it is given up, removes the file that is being written.
class Draft {
public:
    Draft(fs::path path, mode_t mode)
        : path(std::move(path)),
          descriptor(::open(this->path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode)) {}
    ~Draft() {
        if (descriptor < 0) return;
        ::close(descriptor);
        ::unlink(path.c_str()); // of the name under which it was written
    }
    Draft(const Draft&) = delete;
    Draft& operator=(const Draft&) = delete;

    const fs::path path;
    const int descriptor;
};

bool writeAll(int descriptor, std::span<const std::uint8_t> bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
        if (count < 0 && errno != EINTR) return false;
        if (count > 0) bytes = bytes.subspan(static_cast<std::size_t>(count));
    }
    return ::fsync(descriptor) == 0;
}

/// So that the name outlives a crash of the machine too; not every file system
/// knows how.
void syncFolder(const fs::path& folder) {
    const int descriptor = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0) return;
    ::fsync(descriptor);
    ::close(descriptor);
}

} // namespace

std::error_code AtomicFile::write(
    const fs::path& path, std::span<const std::uint8_t> bytes, fs::perms mode, Existing existing) {
    const fs::path folder = path.has_parent_path() ? path.parent_path() : fs::path(".");
    const Draft draft(folder / (".nimbe-" + UUID::random().text()), static_cast<mode_t>(mode));
    if (draft.descriptor < 0) return lastError();
    struct stat before {};
    if (existing == Existing::replace && ::lstat(path.c_str(), &before) == 0 &&
        S_ISREG(before.st_mode))
        (void)::fchmod(draft.descriptor, before.st_mode & 07777);
    if (!writeAll(draft.descriptor, bytes)) return lastError();
    const bool isNamed = existing == Existing::replace
                             ? ::rename(draft.path.c_str(), path.c_str()) == 0
                             : ::link(draft.path.c_str(), path.c_str()) == 0;
    if (!isNamed) return lastError();
    syncFolder(folder);
    return {};
}

} // namespace nimbe
