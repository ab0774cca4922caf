#pragma once

#include <filesystem>
#include <string>

namespace nimbe {

/// Hands things to the programs that the user has for them. Main thread; returns at once,
/// and what goes wrong is logged.
class DocumentOpener {
public:
    virtual ~DocumentOpener() = default;

    /// http, https and mailto addresses.
    virtual void openURL(const std::string& url) = 0;
    /// Selects the file in the file manager.
    virtual void reveal(const std::filesystem::path& file) = 0;
};

} // namespace nimbe
