#pragma once

#include <filesystem>
#include <functional>
#include <span>
#include <system_error>

#include "Foundation/UserDefaults.h"

namespace nimbe {

/// Writes files that are whole or not there, at every moment and after a crash of
/// the machine.
struct AtomicFile {
    enum class Existing {
        replace, // its permissions are kept and, as far as may be, its owner
        keep     // nothing is written: std::errc::file_exists
    };

    /// A new file gets `mode` less the process's umask. A symbolic link is replaced,
    /// not followed. Nothing is left behind by a failure. When something is replaced,
    /// `isWanted` is asked last, after all that takes long: std::errc::operation_canceled.
    [[nodiscard]] static std::error_code write(const std::filesystem::path& path,
        std::span<const std::uint8_t> bytes, std::filesystem::perms mode, Existing existing,
        const std::function<bool()>& isWanted = {});
};

} // namespace nimbe
