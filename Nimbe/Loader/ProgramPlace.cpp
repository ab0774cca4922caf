#include "NimbeLoader/ProgramPlace.h"

#include <string_view>
#include <system_error>

namespace nimbe {

std::filesystem::path executablePath() {
    std::error_code error;
    auto path = std::filesystem::read_symlink("/proc/self/exe", error);
    // proc(5): what the kernel adds when the file has gone.
    constexpr std::string_view gone = " (deleted)";
    const auto& name = path.native();
    if (!name.ends_with(gone) || std::filesystem::exists(path, error)) return path;
    return name.substr(0, name.size() - gone.size());
}

std::filesystem::path programFolder() {
    return executablePath().parent_path().parent_path();
}

} // namespace nimbe
