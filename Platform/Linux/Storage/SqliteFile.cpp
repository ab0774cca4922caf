#include "PlatformStorage/SqliteFile.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Foundation/Date.h"
#include "Foundation/ISO8601.h"

namespace nimbe {
namespace {

namespace fs = std::filesystem;

/// A name beside the file that is not taken: ….damaged-20260307T214830Z[-2…].
fs::path nameForDamaged(const SqliteFile& file) {
    std::string stamp = iso8601::format(Date::now());
    std::erase_if(stamp, [](char c) { return c == '-' || c == ':'; });
    const SqliteFile plain{file.with(".damaged-" + stamp)};
    fs::path name = plain.path;
    std::error_code error;
    for (int count = 2; fs::exists(name, error); ++count)
        name = plain.with("-" + std::to_string(count));
    return name;
}

} // namespace

fs::path SqliteFile::with(std::string_view suffix) const {
    fs::path result = path;
    result += suffix;
    return result;
}

std::error_code SqliteFile::prepareFolder() const {
    std::error_code error;
    const auto folder = path.parent_path();
    if (fs::exists(folder, error)) return {};
    fs::create_directories(folder, error);
    if (!error) fs::permissions(folder, fs::perms::owner_all, error);
    return error;
}

bool SqliteFile::createPrivate() const {
    const int descriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (descriptor < 0) return errno == EEXIST;
    ::close(descriptor);
    return true;
}

bool SqliteFile::isWritable() const {
    if (::access(path.parent_path().c_str(), W_OK | X_OK) != 0) return false;
    return ::access(path.c_str(), W_OK) == 0 || errno == ENOENT;
}

bool SqliteFile::hasLog() const {
    std::error_code error;
    const auto size = fs::file_size(with("-wal"), error);
    return !error && size > 0;
}

Result<SqliteDatabase, SqliteCode> SqliteFile::openReadOnly() const {
    // A process that was killed has left its last writes in a log, which is read
    // along with the file; without one SQLite must be told not to look for it.
    using enum SqliteDatabase::ReadOnly;
    return SqliteDatabase::openReadOnly(path, hasLog() ? withLog : unchanging);
}

std::optional<SqliteFile::Identity> SqliteFile::identity() const {
    struct stat now {};
    if (::stat(path.c_str(), &now) != 0) return std::nullopt;
    return Identity{now.st_dev, now.st_ino};
}

SqliteFile::State SqliteFile::state() const {
    const auto part = [](const std::string& name) -> std::optional<State::Part> {
        struct stat now {};
        if (::stat(name.c_str(), &now) != 0) return std::nullopt;
        return State::Part{
            {now.st_dev, now.st_ino}, now.st_size, now.st_mtim.tv_sec, now.st_mtim.tv_nsec};
    };
    return {part(path.native()), part(path.native() + "-wal")};
}

void SqliteFile::remove() const {
    std::error_code error;
    for (const char* suffix : {"", "-journal", "-wal", "-shm"}) fs::remove(with(suffix), error);
}

Result<fs::path, std::error_code> SqliteFile::setAside(const SqliteFile& mended) const {
    const SqliteFile aside{nameForDamaged(*this)};
    std::error_code error;
    fs::create_hard_link(path, aside.path, error);
    if (error) fs::copy_file(path, aside.path, error);
    if (error) return failure(error);
    // The log goes first: beside a new file it would be played into that.
    std::error_code none;
    fs::rename(with("-wal"), aside.with("-wal"), none);
    fs::remove(with("-shm"), none);
    fs::rename(mended.path, path, error);
    if (error) return failure(error);
    return aside.path;
}

} // namespace nimbe
