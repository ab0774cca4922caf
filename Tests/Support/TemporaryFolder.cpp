#include "Support/TemporaryFolder.h"

#include <cstdlib>
#include <string>
#include <sys/mount.h>
#include <utility>

namespace nimbe {

TemporaryFolder::TemporaryFolder() {
    std::string name = std::filesystem::temp_directory_path() / "nimbe-test-XXXXXX";
    if (::mkdtemp(name.data()) == nullptr) std::abort();
    path = name;
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code error;
    std::filesystem::remove_all(path, error);
}

SmallDisk::SmallDisk(std::filesystem::path at, std::size_t size) : path(std::move(at)) {
    std::filesystem::create_directories(path);
    const std::string options = "mode=0700,size=" + std::to_string(size);
    isMounted = ::mount("nimbe-test", path.c_str(), "tmpfs", 0, options.c_str()) == 0;
}

SmallDisk::~SmallDisk() {
    if (isMounted) ::umount2(path.c_str(), MNT_DETACH);
}

bool SmallDisk::setReadOnly(bool isReadOnly) const {
    const unsigned long flags = MS_REMOUNT | (isReadOnly ? MS_RDONLY : 0);
    return ::mount("nimbe-test", path.c_str(), "tmpfs", flags, nullptr) == 0;
}

ReadOnlyView::ReadOnlyView(const std::filesystem::path& folder, std::filesystem::path at)
    : path(std::move(at)) {
    std::filesystem::create_directories(path);
    isMounted =
        ::mount(folder.c_str(), path.c_str(), nullptr, MS_BIND, nullptr) == 0 &&
        ::mount(nullptr, path.c_str(), nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr) == 0;
}

ReadOnlyView::~ReadOnlyView() {
    ::umount2(path.c_str(), MNT_DETACH);
}

} // namespace nimbe
