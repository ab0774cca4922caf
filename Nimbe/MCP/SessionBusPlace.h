#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

namespace nimbe {

/// AI clients pass few variables on to the programs that they start: HOME and PATH, but
/// not where the session bus is, on which the keyring with the history's key is asked.
struct SessionBusPlace {
    using Environment = std::function<std::optional<std::string>(const char* name)>;

    /// The address of the bus that login managers start, RUNTIMES/UID/bus; absent when it
    /// is not there, or is another user's, or the environment says itself where a bus is.
    [[nodiscard]] static std::optional<std::string> find(
        const Environment& environment, const std::filesystem::path& runtimes);

    /// Puts it into this process's environment. Before there is a second thread.
    static void adopt();
};

} // namespace nimbe
