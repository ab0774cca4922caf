#include "PlatformDesktop/XdgLoginItem.h"

#include <algorithm>
#include <cstdlib>
#include <system_error>

#include "Foundation/Text.h"
#include "PlatformGLib/GlibPointers.h"
#include "PlatformStorage/AtomicFile.h"

namespace nimbe {
namespace {

namespace fs = std::filesystem;

constexpr const char* group = G_KEY_FILE_DESKTOP_GROUP;

bool isThere(const fs::path& file) {
    std::error_code error;
    // A link that leads nowhere counts: it is in the way of what is behind it.
    const auto status = fs::symlink_status(file, error);
    return fs::exists(status);
}

/// Null: it is none that anybody could read.
KeyFilePointer load(const fs::path& file) {
    KeyFilePointer keys(g_key_file_new());
    const auto flags =
        static_cast<GKeyFileFlags>(G_KEY_FILE_KEEP_COMMENTS | G_KEY_FILE_KEEP_TRANSLATIONS);
    if (g_key_file_load_from_file(keys.get(), file.c_str(), flags, nullptr) == FALSE) return {};
    return keys;
}

std::string stringOf(GKeyFile* keys, const char* key) {
    const GlibString value(g_key_file_get_string(keys, group, key, nullptr));
    return value ? value.get() : "";
}

bool isTrue(GKeyFile* keys, const char* key) {
    return g_key_file_get_boolean(keys, group, key, nullptr) != FALSE;
}

bool isFalse(GKeyFile* keys, const char* key) {
    return g_key_file_has_key(keys, group, key, nullptr) != FALSE && !isTrue(keys, key);
}

std::string dataOf(GKeyFile* keys) {
    gsize length = 0;
    const GlibString data(g_key_file_to_data(keys, &length, nullptr));
    return {data.get(), length};
}

/// The program that an Exec line names; empty: it names none.
fs::path programOf(const std::string& exec) {
    int count = 0;
    char** words = nullptr;
    // What the rules quote with, a shell understands.
    if (g_shell_parse_argv(exec.c_str(), &count, &words, nullptr) == FALSE) return {};
    std::string program = words[count > 1 && std::string_view(words[0]) == "env" ? 1 : 0];
    g_strfreev(words);
    for (std::size_t at = 0; (at = program.find("%%", at)) != program.npos; ++at)
        program.erase(at, 1);
    return program;
}

} // namespace

XdgLoginItem::Places XdgLoginItem::Places::find(const DataFolders& folders, fs::path program) {
    Places places{folders.config, {}, std::move(program), folders.isPortable};
    const char* named = std::getenv("XDG_CONFIG_DIRS");
    std::string rest = named && *named != '\0' ? named : "/etc/xdg";
    while (!rest.empty()) {
        const auto end = rest.find(':');
        const fs::path folder = rest.substr(0, end);
        if (folder.is_absolute()) places.system.push_back(folder);
        rest = end == rest.npos ? "" : rest.substr(end + 1);
    }
    return places;
}

XdgLoginItem::XdgLoginItem(Places places, LogSink& sink)
    : places(std::move(places)), log(sink, "desktop") {}

fs::path XdgLoginItem::entry() const {
    return places.config / "autostart" / fileName;
}

std::optional<fs::path> XdgLoginItem::systemEntry() const {
    for (const auto& folder : places.system)
        if (const auto file = folder / "autostart" / fileName; isThere(file)) return file;
    return std::nullopt;
}

XdgLoginItem::State XdgLoginItem::stateOf(const fs::path& file) {
    if (!isThere(file)) return State::absent;
    const auto keys = load(file);
    if (!keys || stringOf(keys.get(), "Exec").empty()) return State::off;
    // Hidden is of the rules; what desktops' settings set beside it stands in the entry too.
    const bool isOff = isTrue(keys.get(), "Hidden") ||
                       isFalse(keys.get(), "X-GNOME-Autostart-enabled") ||
                       isFalse(keys.get(), "X-MATE-Autostart-enabled");
    return isOff ? State::off : State::on;
}

bool XdgLoginItem::isEnabled() const {
    if (places.isPortable) return false;
    if (const auto ours = stateOf(entry()); ours != State::absent) return ours == State::on;
    const auto system = systemEntry();
    return system && stateOf(*system) == State::on;
}

bool XdgLoginItem::setEnabled(bool isEnabled) {
    if (isEnabled == this->isEnabled()) return true;
    return isEnabled ? enable() : disable();
}

std::optional<std::string> XdgLoginItem::execLine(const fs::path& program) {
    const auto& path = program.native();
    const bool isWritable = text::isValidUtf8(path) &&
                            std::none_of(path.begin(), path.end(),
                                [](unsigned char c) { return c == '=' || c < ' ' || c == 0x7F; });
    if (!isWritable) return std::nullopt;
    // By freedesktop.org's Desktop Entry rules, "The Exec key".
    std::string line = "\"";
    for (const char c : path) {
        if (c == '"' || c == '`' || c == '$' || c == '\\') line += '\\';
        if (c == '%') line += '%';
        line += c;
    }
    line += "\" --hidden";
    // GLib, and so GNOME, looks whether the program is there before it undoes the doubling.
    return path.find('%') == path.npos ? line : "env " + line;
}

bool XdgLoginItem::enable() {
    if (places.isPortable) {
        log.error("login: with NIMBE_HOME there is no place where a desktop would look");
        return false;
    }
    const auto exec = execLine(places.program);
    if (!exec) {
        log.error("login: an entry cannot name the folder that the program is in");
        return false;
    }
    const KeyFilePointer keys(g_key_file_new());
    const auto set = [&](const char* key, const std::string& value) {
        g_key_file_set_string(keys.get(), group, key, value.c_str());
    };
    set("Type", "Application");
    set("Name", "Nimbe");
    set("Comment", "Dictation on your own machine");
    set("Exec", *exec);
    set("Icon", "com.nimbehq.Nimbe");
    set("Terminal", "false");
    set("StartupNotify", "false");
    set("X-GNOME-Autostart-enabled", "true");
    return write(dataOf(keys.get()));
}

bool XdgLoginItem::disable() {
    if (const auto system = systemEntry(); system && stateOf(*system) == State::on)
        return write("[Desktop Entry]\nType=Application\nName=Nimbe\nHidden=true\n");
    std::error_code error;
    fs::remove(entry(), error);
    if (error) log.error("login: the entry cannot be removed, error=%d", error.value());
    return !error;
}

void XdgLoginItem::followProgram() {
    if (places.isPortable || stateOf(entry()) != State::on) return;
    const auto keys = load(entry());
    const auto named = programOf(stringOf(keys.get(), "Exec"));
    std::error_code unknown;
    if (!named.is_absolute() || fs::exists(named, unknown) || unknown) return;
    const auto line = execLine(places.program);
    if (!line) return;
    g_key_file_set_string(keys.get(), group, "Exec", line->c_str());
    if (write(dataOf(keys.get()))) log.info("login: the entry starts this program now");
}

bool XdgLoginItem::write(const std::string& content) {
    std::error_code error;
    fs::create_directories(entry().parent_path(), error);
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(content.data());
    if (!error)
        error = AtomicFile::write(
            entry(), {bytes, content.size()}, fs::perms(0666), AtomicFile::Existing::replace);
    if (error) log.error("login: the entry cannot be written, error=%d", error.value());
    return !error;
}

} // namespace nimbe
