#include "PlatformModels/ModelSwitch.h"

#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>
#include <vector>

#include "PlatformModels/FileDescriptor.h"

namespace nimbe {
namespace {

namespace fs = std::filesystem;
using Kind = SpeechModelError::Kind;
using Outcome = Result<void, SpeechModelError>;

/// With all that is missing above it, each for this user alone.
std::error_code makePrivateFolder(const fs::path& folder) {
    if (::mkdir(folder.c_str(), 0700) == 0) return {};
    if (errno == ENOENT && folder.has_parent_path() && folder.parent_path() != folder) {
        if (const auto error = makePrivateFolder(folder.parent_path())) return error;
        if (::mkdir(folder.c_str(), 0700) == 0) return {};
    }
    const auto error = lastError();
    std::error_code ignored;
    return fs::is_directory(folder, ignored) ? std::error_code() : error;
}

std::error_code sync(const fs::path& path) {
    const FileDescriptor descriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    return descriptor && ::fsync(descriptor.get()) == 0 ? std::error_code() : lastError();
}

void removeAll(const fs::path& path) {
    std::error_code ignored; // what stays is met again by the next installation
    fs::remove_all(path, ignored);
}

std::error_code writeAll(int descriptor, const char* bytes, std::size_t count) {
    while (count > 0) {
        const ssize_t written = ::write(descriptor, bytes, count);
        if (written < 0 && errno != EINTR) return lastError();
        if (written <= 0) continue;
        bytes += written;
        count -= static_cast<std::size_t>(written);
    }
    return {};
}

std::error_code copy(const fs::path& from, const fs::path& to, const std::stop_token& stop) {
    const FileDescriptor source(::open(from.c_str(), O_RDONLY | O_CLOEXEC));
    if (!source) return lastError();
    const FileDescriptor target(::open(to.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
    if (!target) return lastError();
    std::vector<char> piece(1 << 20);
    for (;;) {
        if (stop.stop_requested()) return std::make_error_code(std::errc::operation_canceled);
        const ssize_t count = ::read(source.get(), piece.data(), piece.size());
        if (count < 0 && errno != EINTR) return lastError();
        if (count == 0) return {};
        if (count < 0) continue;
        if (const auto error =
                writeAll(target.get(), piece.data(), static_cast<std::size_t>(count)))
            return error;
    }
}

/// Over the border of a file system too; the original then stays.
std::error_code moveOrCopy(const fs::path& from, const fs::path& to, const std::stop_token& stop) {
    if (const auto error = sync(from)) return error;
    if (::rename(from.c_str(), to.c_str()) == 0) return {};
    if (errno != EXDEV) return lastError();
    if (const auto error = copy(from, to, stop)) return error;
    return sync(to);
}

/// Afterwards `folder` is what `staging` was; whatever was there is removed.
std::error_code switchFolders(const ModelPlaces& places) {
    const char* const from = places.staging.c_str();
    const char* const to = places.folder.c_str();
    if (!ModelPlaces::exists(places.folder))
        return ::rename(from, to) == 0 ? std::error_code() : lastError();
    if (::renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_EXCHANGE) == 0) {
        removeAll(places.staging);
        return {};
    }
    // Not every file system can exchange two names.
    if (::rename(to, places.removed.c_str()) != 0) return lastError();
    if (::rename(from, to) != 0) {
        const auto error = lastError();
        (void)::rename(places.removed.c_str(), to);
        return error;
    }
    removeAll(places.removed);
    return {};
}

/// What was on its way into the model's place is a download again.
void takeBack(const ModelPlaces& places, const SpeechModel& model) {
    if (!ModelPlaces::exists(places.staging) || makePrivateFolder(places.downloads)) return;
    for (const auto& file : model.files) {
        const auto partial = places.partial(file);
        const auto staged = places.staging / file.name;
        if (!ModelPlaces::exists(partial) && ModelPlaces::lengthOf(staged) == file.bytes)
            (void)::rename(staged.c_str(), partial.c_str());
    }
}

std::uint64_t deviceOf(const fs::path& path) {
    struct stat found {};
    return ::stat(path.c_str(), &found) == 0 ? found.st_dev : 0;
}

Outcome requireRoom(const fs::path& folder, std::uint64_t bytes) {
    std::error_code error;
    const auto space = fs::space(folder, error);
    // Where the file system does not say, the writing will.
    if (error || space.available >= bytes) return {};
    return failure(SpeechModelError{Kind::noSpace,
        std::to_string(bytes) + " bytes needed, " + std::to_string(space.available) + " free"});
}

} // namespace

Result<ModelLock, SpeechModelError> ModelSwitch::begin(const ModelPlaces& places) {
    if (const auto error = makePrivateFolder(places.folder.parent_path()))
        return failure(diskError(error, "the folder of models"));
    auto lock = FileLock::acquire(places.lock, 0);
    if (lock) return std::make_shared<FileLock>(std::move(*lock));
    const FileDescriptor descriptor(
        ::open(places.lock.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    if (!descriptor) return failure(diskError(lastError(), "the lock"));
    return failure(SpeechModelError{Kind::busy, "the lock is held"});
}

void ModelSwitch::cleanUp(const ModelPlaces& places, const SpeechModel& model) {
    if (places.hasOwn(model))
        removeAll(places.downloads);
    else
        takeBack(places, model);
    removeAll(places.staging);
    // A switch may have been killed between its two steps.
    if (!ModelPlaces::exists(places.folder) && ModelPlaces::exists(places.removed))
        (void)::rename(places.removed.c_str(), places.folder.c_str());
    removeAll(places.removed);
}

Outcome ModelSwitch::checkSpace(
    const ModelPlaces& places, const SpeechModel& model, std::uint64_t spare) {
    if (const auto error = makePrivateFolder(places.downloads))
        return failure(diskError(error, "the folder of downloads"));
    const auto target = places.folder.parent_path();
    const auto missing = model.bytes() - places.downloaded(model);
    if (auto outcome = requireRoom(places.downloads, missing + spare); !outcome) return outcome;
    const bool isCopied = deviceOf(target) != deviceOf(places.downloads);
    return isCopied ? requireRoom(target, model.bytes() + spare) : Outcome();
}

Outcome ModelSwitch::publish(
    const ModelPlaces& places, const SpeechModel& model, const std::stop_token& stop) {
    if (const auto error = makePrivateFolder(places.staging))
        return failure(diskError(error, "the new folder"));
    for (const auto& file : model.files) {
        const auto target = places.staging / file.name;
        if (const auto error = moveOrCopy(places.partial(file), target, stop))
            return failure(diskError(error, "moving", file.name));
        if (stop.stop_requested()) return failure(SpeechModelError{Kind::failed, "stopped"});
    }
    if (const auto error = sync(places.staging)) return failure(diskError(error, "the new folder"));
    if (const auto error = switchFolders(places)) return failure(diskError(error, "the switch"));
    (void)sync(places.folder.parent_path()); // not every file system knows how
    removeAll(places.downloads);
    return {};
}

Outcome ModelSwitch::remove(const ModelPlaces& places) {
    removeAll(places.removed);
    // By its name first: a model that is half removed is not taken for a whole one.
    if (ModelPlaces::exists(places.folder) &&
        ::rename(places.folder.c_str(), places.removed.c_str()) != 0)
        return failure(diskError(lastError(), "removing"));
    removeAll(places.removed);
    removeAll(places.downloads);
    return {};
}

} // namespace nimbe
