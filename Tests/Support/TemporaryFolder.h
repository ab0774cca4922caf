#pragma once

#include <filesystem>

namespace nimbe {

/// A folder of the test's own, removed with all it holds.
class TemporaryFolder {
public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    std::filesystem::path path;
};

/// A file system of `size` bytes mounted at `path` while this lives; for a disk
/// that is full or read-only. Not every machine lets a test mount one.
class SmallDisk {
public:
    SmallDisk(std::filesystem::path path, std::size_t size);
    ~SmallDisk();
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;

    bool isMounted = false;

    /// With no file open for writing on it.
    [[nodiscard]] bool setReadOnly(bool isReadOnly) const;

private:
    std::filesystem::path path;
};

/// `folder` once more at `at`, where nothing can be written, while this lives.
class ReadOnlyView {
public:
    ReadOnlyView(const std::filesystem::path& folder, std::filesystem::path at);
    ~ReadOnlyView();
    ReadOnlyView(const ReadOnlyView&) = delete;
    ReadOnlyView& operator=(const ReadOnlyView&) = delete;

    bool isMounted = false;

private:
    std::filesystem::path path;
};

} // namespace nimbe
