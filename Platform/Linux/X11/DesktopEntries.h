#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace nimbe {

/// What the applications of this machine are called: the names of their .desktop files,
/// as menus show them. Immutable; any thread.
/// By freedesktop.org's Desktop Entry rules.
class DesktopEntries {
public:
    /// Reads all of them: some 0.1 ms a file. The first folder that has a file wins. Names
    /// are in the language of the locale ("de_AT"); empty: of the environment.
    [[nodiscard]] static DesktopEntries read(
        const std::vector<std::filesystem::path>& dataFolders, const std::string& locale = {});
    /// XDG_DATA_HOME and XDG_DATA_DIRS.
    [[nodiscard]] static std::vector<std::filesystem::path> dataFolders();

    /// What is known of a window; each may be empty.
    struct Program {
        std::string_view instance;   // WM_CLASS, first part
        std::string_view className;  // second part
        std::string_view executable; // of its process, without folders
    };
    /// The first that fits: a StartupWMClass, the file's own name, the program that it
    /// starts. Upper and lower case are the same.
    [[nodiscard]] std::optional<std::string> name(const Program& program) const;

    [[nodiscard]] std::size_t size() const { return count; }

private:
    using Names = std::map<std::string, std::string, std::less<>>;

    std::size_t count = 0;
    Names byWindowClass;
    Names byId;      // "org.xfce.mousepad"
    Names byProgram; // "mousepad"
    Names byShortId; // "mousepad"
    Names byVariant; // programs that an entry starts with options

    void add(const std::filesystem::path& file, const std::string& id, const std::string& locale);
};

} // namespace nimbe
