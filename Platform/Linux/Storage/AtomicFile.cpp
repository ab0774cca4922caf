#include "PlatformStorage/AtomicFile.h"

#include <cerrno>
#include <cstdio>
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

/// The file while it is being written: without a name, so that nothing is left of it
/// when the process is killed, where the file system can do that.
class Draft {
public:
    Draft(const fs::path& folder, mode_t mode)
        : name(folder / (".nimbe-" + UUID::random().text())),
          descriptor(::open(folder.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, mode)) {
        if (descriptor >= 0) return;
        descriptor = ::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
        hasName = descriptor >= 0;
    }
    ~Draft() {
        if (descriptor < 0) return;
        ::close(descriptor);
        if (hasName) ::unlink(name.c_str());
    }
    Draft(const Draft&) = delete;
    Draft& operator=(const Draft&) = delete;

    [[nodiscard]] int file() const { return descriptor; }

    /// In place of what is there, if that is wanted still.
    [[nodiscard]] bool replace(const fs::path& path, const std::function<bool()>& isWanted) {
        if (!hasName) hasName = linkTo(name);
        if (!hasName) return false;
        if (isWanted && !isWanted()) {
            errno = ECANCELED;
            return false;
        }
        if (::rename(name.c_str(), path.c_str()) != 0) return false;
        hasName = false;
        return true;
    }

    /// Unless something is there.
    [[nodiscard]] bool keep(const fs::path& path) {
        if (!hasName) return linkTo(path);
        // Not every file system has links.
        if (::renameat2(AT_FDCWD, name.c_str(), AT_FDCWD, path.c_str(), RENAME_NOREPLACE) == 0) {
            hasName = false;
            return true;
        }
        return errno == EINVAL && ::link(name.c_str(), path.c_str()) == 0;
    }

private:
    fs::path name;
    int descriptor;
    bool hasName = false;

    [[nodiscard]] bool linkTo(const fs::path& path) const {
        const auto self = "/proc/self/fd/" + std::to_string(descriptor);
        return ::linkat(AT_FDCWD, self.c_str(), AT_FDCWD, path.c_str(), AT_SYMLINK_FOLLOW) == 0;
    }
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

std::error_code AtomicFile::write(const fs::path& path, std::span<const std::uint8_t> bytes,
    fs::perms mode, Existing existing, const std::function<bool()>& isWanted) {
    const fs::path folder = path.has_parent_path() ? path.parent_path() : fs::path(".");
    Draft draft(folder, static_cast<mode_t>(mode));
    if (draft.file() < 0) return lastError();
    struct stat before {};
    if (existing == Existing::replace && ::lstat(path.c_str(), &before) == 0 &&
        S_ISREG(before.st_mode)) {
        // The owner first: a change of it may take permissions away.
        if (::fchown(draft.file(), before.st_uid, before.st_gid) != 0)
            (void)::fchown(draft.file(), static_cast<uid_t>(-1), before.st_gid);
        (void)::fchmod(draft.file(), before.st_mode & 07777);
    }
    if (!writeAll(draft.file(), bytes)) return lastError();
    if (!(existing == Existing::replace ? draft.replace(path, isWanted) : draft.keep(path)))
        return lastError();
    syncFolder(folder);
    return {};
}

} // namespace nimbe
