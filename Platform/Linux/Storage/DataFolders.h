#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

namespace nimbe {

/// Where this user's files are, by the XDG base directory rules of freedesktop.org.
/// NIMBE_HOME overrides them all: "data", "cache" and "config" then stand in it; a
/// relative one counts from the current folder.
struct DataFolders {
    std::filesystem::path data;   // settings, history, models
    std::filesystem::path cache;  // downloads; may vanish at any time
    std::filesystem::path config; // the XDG folder itself: other programs' settings
    bool isPortable = false;      // named by NIMBE_HOME: all of it stands in one folder

    using Environment = std::function<std::optional<std::string>(const char* name)>;

    /// Absent when the environment names neither NIMBE_HOME nor HOME and the
    /// needed XDG folders are not all set: there is no place to keep anything.
    [[nodiscard]] static std::optional<DataFolders> find(const Environment& environment);

    /// With this process's environment.
    [[nodiscard]] static std::optional<DataFolders> find();

    /// Where other programs look for their settings, whatever NIMBE_HOME says.
    [[nodiscard]] static std::optional<std::filesystem::path> commonConfig(
        const Environment& environment);
    [[nodiscard]] static std::optional<std::filesystem::path> commonConfig();

    [[nodiscard]] std::filesystem::path settingsFile() const { return data / "settings.sqlite"; }
    [[nodiscard]] std::filesystem::path syncFile() const { return data / "sync.sqlite"; }
};

} // namespace nimbe
