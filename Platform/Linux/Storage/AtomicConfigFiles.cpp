#include "PlatformStorage/AtomicConfigFiles.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "PlatformStorage/AtomicFile.h"

namespace nimbe {
namespace {

namespace fs = std::filesystem;

std::error_code lastError() {
    return {errno, std::generic_category()};
}

class Descriptor {
public:
    explicit Descriptor(int number) : number(number) {}
    ~Descriptor() {
        if (number >= 0) ::close(number);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    const int number;
};

Result<std::string, std::error_code> readAll(int descriptor) {
    std::string content;
    std::string block(64 * 1024, '\0');
    for (;;) {
        const ssize_t count = ::read(descriptor, block.data(), block.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return failure(lastError());
        if (count == 0) return content;
        content.append(block, 0, static_cast<std::size_t>(count));
        if (content.size() > AtomicConfigFiles::largest)
            return failure(std::make_error_code(std::errc::file_too_large));
    }
}

/// What a chain of symbolic links leads to, whether or not something is there.
Result<fs::path, std::error_code> target(fs::path file) {
    constexpr int longestChain = 40; // the kernel's own limit
    for (int links = 0; links <= longestChain; ++links) {
        std::error_code error;
        if (!fs::is_symlink(fs::symlink_status(file, error))) return file;
        const auto next = fs::read_symlink(file, error);
        if (error) return failure(error);
        file = file.parent_path() / next; // an absolute one goes by itself
    }
    return failure(std::make_error_code(std::errc::too_many_symbolic_link_levels));
}

std::error_code makeFolders(const fs::path& folder) {
    std::error_code error;
    if (fs::is_directory(folder, error)) return {};
    if (folder.has_relative_path())
        if (const auto failed = makeFolders(folder.parent_path())) return failed;
    // The mode is the one of freedesktop.org's base directory rules.
    if (::mkdir(folder.c_str(), 0700) == 0) return {};
    const auto failed = lastError();
    return fs::is_directory(folder, error) ? std::error_code() : failed;
}

} // namespace

Result<std::optional<std::string>, std::error_code> AtomicConfigFiles::read(const fs::path& file) {
    // At once: opening a pipe would wait for somebody to write into it.
    const Descriptor opened(::open(file.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (opened.number < 0) {
        if (errno == ENOENT || errno == ENOTDIR) return std::nullopt;
        return failure(lastError());
    }
    struct stat status {};
    if (::fstat(opened.number, &status) != 0) return failure(lastError());
    if (S_ISDIR(status.st_mode)) return failure(std::make_error_code(std::errc::is_a_directory));
    if (!S_ISREG(status.st_mode)) return failure(std::make_error_code(std::errc::invalid_argument));
    auto content = readAll(opened.number);
    if (!content) return failure(content.error());
    return std::move(*content);
}

std::error_code AtomicConfigFiles::replace(
    const fs::path& file, const std::optional<std::string>& before, std::string_view content) {
    const auto place = target(file);
    if (!place) return place.error();
    if (const auto error = makeFolders(place->parent_path())) return error;
    struct stat status {};
    if (::lstat(place->c_str(), &status) == 0 && !S_ISREG(status.st_mode))
        return std::make_error_code(std::errc::invalid_argument);
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(content.data());
    const auto isUnchanged = [&] {
        const auto now = read(file);
        return now && *now == before;
    };
    return AtomicFile::write(*place, {bytes, content.size()}, fs::perms(0600),
        AtomicFile::Existing::replace, isUnchanged);
}

} // namespace nimbe
