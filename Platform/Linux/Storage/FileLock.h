#pragma once

#include <filesystem>
#include <optional>

#include "Foundation/Date.h"

namespace nimbe {

/// An exclusive lock between processes (flock on a file of its own), held until
/// it is destroyed or the process ends.
class FileLock {
public:
    /// Absent when another process holds it longer than `patience`, or the file
    /// cannot be made.
    [[nodiscard]] static std::optional<FileLock> acquire(
        const std::filesystem::path& file, Seconds patience);

    FileLock(FileLock&& other) noexcept;
    FileLock& operator=(FileLock&& other) noexcept;
    ~FileLock();

private:
    explicit FileLock(int descriptor) : descriptor(descriptor) {}
    int descriptor = -1;
};

} // namespace nimbe
