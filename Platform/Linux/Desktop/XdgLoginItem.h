#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "Foundation/Log.h"
#include "NimbeApp/LoginItem.h"
#include "PlatformStorage/DataFolders.h"

namespace nimbe {

/// The start at login by freedesktop.org's Autostart rules: a desktop entry in the folder
/// "autostart" of the user's config folder, which goes before one of the same name in the
/// system's config folders.
///
/// Off is what any desktop's own settings make of the entry: removed, hidden, or disabled.
/// With NIMBE_HOME no desktop reads that config folder: it is off then and cannot be
/// enabled.
class XdgLoginItem final : public LoginItem {
public:
    static constexpr const char* fileName = "com.nimbehq.Nimbe.desktop";

    struct Places {
        std::filesystem::path config;              // the XDG config folder
        std::vector<std::filesystem::path> system; // the system's, the first one counts
        std::filesystem::path program;             // the executable, absolute
        bool isPortable = false;

        /// By this process's environment.
        [[nodiscard]] static Places find(const DataFolders& folders, std::filesystem::path program);
    };

    XdgLoginItem(Places places, LogSink& sink);

    [[nodiscard]] bool isEnabled() const override;
    [[nodiscard]] bool setEnabled(bool isEnabled) override;

    /// At each start: where the user's entry starts a program that is not there any more,
    /// it starts this one from now on. An entry for another copy that is there stays.
    void followProgram();

    /// The Exec line of an entry. Absent where the rules have no way to write it: a path
    /// that is not UTF-8, or has an equals sign or a control character.
    [[nodiscard]] static std::optional<std::string> execLine(const std::filesystem::path& program);

private:
    enum class State { absent, off, on };

    Places places;
    Log log;

    [[nodiscard]] std::filesystem::path entry() const;
    [[nodiscard]] std::optional<std::filesystem::path> systemEntry() const;
    [[nodiscard]] static State stateOf(const std::filesystem::path& file);
    [[nodiscard]] bool write(const std::string& content);
    [[nodiscard]] bool enable();
    [[nodiscard]] bool disable();
};

} // namespace nimbe
