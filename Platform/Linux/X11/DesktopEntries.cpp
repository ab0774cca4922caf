#include "PlatformX11/DesktopEntries.h"

#include <algorithm>
#include <array>
#include <glib.h>
#include <initializer_list>
#include <memory>
#include <set>
#include <system_error>

#include "Foundation/Text.h"

namespace nimbe {
namespace {

namespace fs = std::filesystem;

template <auto free>
struct GlibFree {
    template <typename T>
    void operator()(T* memory) const {
        free(memory);
    }
};
using KeyFile = std::unique_ptr<GKeyFile, GlibFree<&g_key_file_unref>>;
using GlibText = std::unique_ptr<gchar, GlibFree<&g_free>>;
using GlibWords = std::unique_ptr<gchar*, GlibFree<&g_strfreev>>;

constexpr const char* group = G_KEY_FILE_DESKTOP_GROUP;

std::string lowerCase(std::string_view text) {
    std::string result(text);
    for (auto& byte : result)
        if (byte >= 'A' && byte <= 'Z') byte = static_cast<char>(byte - 'A' + 'a');
    return result;
}

std::string valueOf(const KeyFile& file, const char* key) {
    const GlibText value{g_key_file_get_string(file.get(), group, key, nullptr)};
    return value ? value.get() : "";
}

bool isTrue(const KeyFile& file, const char* key) {
    return g_key_file_get_boolean(file.get(), group, key, nullptr) != FALSE;
}

/// Start many programs: which one does not follow from them.
bool isStarter(std::string_view program) {
    static constexpr std::array starters{"bash", "dash", "electron", "env", "flatpak",
        "gapplication", "gtk-launch", "java", "node", "perl", "pkexec", "python", "sh", "snap",
        "sudo", "wine", "xdg-open"};
    return program.starts_with("python3") || program.starts_with("electron") ||
           std::find(starters.begin(), starters.end(), program) != starters.end();
}

struct Command {
    std::string program; // without folders; empty: not known
    bool hasOptions = false;
};

/// The Exec key: a program, options, and codes for files ("%U").
Command commandOf(const KeyFile& file) {
    gchar** parsed = nullptr;
    if (g_shell_parse_argv(
            valueOf(file, G_KEY_FILE_DESKTOP_KEY_EXEC).c_str(), nullptr, &parsed, nullptr) == FALSE)
        return {};
    const GlibWords words{parsed};
    auto* word = words.get();
    const auto nameOf = [](const char* path) {
        return fs::path(path).filename().string();
    };
    if (*word != nullptr && nameOf(*word) == "env")
        while (*++word != nullptr && std::string_view(*word).find('=') != std::string_view::npos) {
        }
    if (*word == nullptr) return {};
    Command command{lowerCase(nameOf(*word)), false};
    while (*++word != nullptr)
        if (**word != '%') command.hasOptions = true;
    if (isStarter(command.program)) return {};
    return command;
}

} // namespace

std::vector<fs::path> DesktopEntries::dataFolders() {
    std::vector<fs::path> folders{g_get_user_data_dir()};
    for (const auto* const* folder = g_get_system_data_dirs(); *folder != nullptr; ++folder)
        folders.emplace_back(*folder);
    return folders;
}

DesktopEntries DesktopEntries::read(
    const std::vector<fs::path>& dataFolders, const std::string& locale) {
    DesktopEntries entries;
    std::set<std::string> seen;
    for (const auto& dataFolder : dataFolders) {
        const auto folder = dataFolder / "applications";
        std::vector<fs::path> files;
        std::error_code error;
        fs::recursive_directory_iterator entry(
            folder, fs::directory_options::skip_permission_denied, error);
        for (; !error && entry != fs::recursive_directory_iterator(); entry.increment(error))
            if (entry->path().extension() == ".desktop") files.push_back(entry->path());
        std::sort(files.begin(), files.end());
        for (const auto& file : files) {
            auto id = file.lexically_relative(folder).replace_extension().string();
            std::replace(id.begin(), id.end(), '/', '-');
            if (seen.insert(id).second) entries.add(file, lowerCase(id), locale);
        }
    }
    return entries;
}

void DesktopEntries::add(const fs::path& path, const std::string& id, const std::string& locale) {
    constexpr std::uintmax_t most = 1'000'000; // bytes; they have some 10,000
    std::error_code error;
    if (!fs::is_regular_file(path, error) || fs::file_size(path, error) > most || error) return;
    const KeyFile file{g_key_file_new()};
    if (g_key_file_load_from_file(
            file.get(), path.c_str(), G_KEY_FILE_KEEP_TRANSLATIONS, nullptr) == FALSE)
        return;
    const GlibText value{g_key_file_get_locale_string(file.get(), group,
        G_KEY_FILE_DESKTOP_KEY_NAME, locale.empty() ? nullptr : locale.c_str(), nullptr)};
    if (!value || *value == '\0' || isTrue(file, G_KEY_FILE_DESKTOP_KEY_HIDDEN)) return;
    if (valueOf(file, G_KEY_FILE_DESKTOP_KEY_TYPE) != G_KEY_FILE_DESKTOP_TYPE_APPLICATION) return;
    const std::string name = text::mended(value.get());
    ++count;
    const auto windowClass = lowerCase(valueOf(file, G_KEY_FILE_DESKTOP_KEY_STARTUP_WM_CLASS));
    if (!windowClass.empty()) byWindowClass.emplace(windowClass, name);
    byId.emplace(id, name);
    // What menus hide often starts a program in another way than people do.
    if (isTrue(file, G_KEY_FILE_DESKTOP_KEY_NO_DISPLAY)) return;
    byShortId.emplace(id.substr(id.rfind('.') + 1), name);
    const auto command = commandOf(file);
    if (!command.program.empty())
        (command.hasOptions ? byVariant : byProgram).emplace(command.program, name);
}

std::optional<std::string> DesktopEntries::name(const Program& program) const {
    const auto instance = lowerCase(program.instance);
    const auto className = lowerCase(program.className);
    const auto executable = lowerCase(program.executable);
    const auto find = [](const Names& names,
                          std::initializer_list<std::string_view> keys) -> const std::string* {
        for (const auto key : keys) {
            if (key.empty()) continue;
            if (const auto found = names.find(key); found != names.end()) return &found->second;
        }
        return nullptr;
    };
    // A program that shows the windows of several names the one by the instance.
    const std::string* found = find(byWindowClass, {instance, className});
    if (found == nullptr) found = find(byId, {className, instance});
    for (const auto* names : {&byProgram, &byShortId, &byVariant})
        if (found == nullptr) found = find(*names, {className, instance, executable});
    if (found == nullptr) return std::nullopt;
    return *found;
}

} // namespace nimbe
