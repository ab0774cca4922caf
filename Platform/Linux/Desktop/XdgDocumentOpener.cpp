#include "PlatformDesktop/XdgDocumentOpener.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

#include "PlatformGLib/CancelAfter.h"
#include "PlatformGLib/GlibThread.h"
#include "PlatformGLib/SessionBus.h"

namespace nimbe {
namespace {

namespace fs = std::filesystem;

/// A file manager may have to start first.
constexpr Seconds fileManagerPatience = 10;

/// Of this process as it began: what was set since, as for its own toolkit, is not in it.
std::vector<std::string> firstEnvironment() {
    std::ifstream file("/proc/self/environ", std::ios::binary);
    std::vector<std::string> environment;
    for (std::string entry; std::getline(file, entry, '\0');) environment.push_back(entry);
    return environment;
}

std::vector<char*> pointersTo(std::vector<std::string>& words) {
    std::vector<char*> pointers;
    for (auto& word : words) pointers.push_back(word.data());
    pointers.push_back(nullptr);
    return pointers;
}

/// Between fork and exec. Ctrl+C in our terminal is not for what we have started.
void leaveSession(gpointer /*nothing*/) {
    ::setsid();
}

std::string lowerCase(std::string text) {
    std::transform(
        text.begin(), text.end(), text.begin(), [](char c) { return g_ascii_tolower(c); });
    return text;
}

std::string schemeOf(const std::string& url) {
    return lowerCase(url.substr(0, url.find(':')));
}

} // namespace

/// Starts things and waits for them on one thread, asks the file manager on another.
class XdgDocumentOpener::Worker {
public:
    Worker(LogSink& sink, std::vector<std::string> environment)
        : log(sink, "desktop"), environment(std::move(environment)) {}

    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;
    ~Worker() { g_cancellable_cancel(end.get()); }

    /// `what` is for the log.
    void open(std::string target, std::string what) {
        starting.post(
            [this, target = std::move(target), what = std::move(what)] { start(target, what); });
    }

    void show(fs::path file) {
        asking.post([this, file = std::move(file)] {
            const bool isShown = askFileManager(file);
            if (!isShown && g_cancellable_is_cancelled(end.get()) == FALSE)
                open(file.parent_path().native(), "a folder");
        });
    }

private:
    struct Started {
        Worker& worker;
        std::string what;
    };

    Log log;
    std::vector<std::string> environment;
    GObjectPointer<GCancellable> end{g_cancellable_new()};
    GlibThread starting{"nimbe-open"}; // after what it uses
    GlibThread asking{"nimbe-files"};

    void start(const std::string& target, const std::string& what) {
        std::vector<std::string> words{"xdg-open", target};
        auto arguments = pointersTo(words);
        auto variables = pointersTo(environment);
        const auto flags =
            static_cast<GSpawnFlags>(G_SPAWN_SEARCH_PATH_FROM_ENVP | G_SPAWN_DO_NOT_REAP_CHILD |
                                     G_SPAWN_STDOUT_TO_DEV_NULL | G_SPAWN_STDERR_TO_DEV_NULL);
        GPid child = 0;
        GlibError error;
        if (g_spawn_async(nullptr, arguments.data(), variables.data(), flags, leaveSession, nullptr,
                &child, error.out()) == FALSE) {
            log.error("open: xdg-open does not start for %s, error=%s", what.c_str(),
                error.code().c_str());
            return;
        }
        auto* watch = g_child_watch_source_new(child);
        g_source_set_callback(watch, G_SOURCE_FUNC(onEnd), new Started{*this, what},
            [](gpointer started) { delete static_cast<Started*>(started); }); // NOLINT
        g_source_attach(watch, g_main_context_get_thread_default());
        g_source_unref(watch);
    }

    static void onEnd(GPid child, int status, gpointer started) {
        const auto& [worker, what] = *static_cast<Started*>(started);
        const int code = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
        // xdg-open(1): 3: a tool is missing, 4: it failed.
        if (code != 0)
            worker.log.error(
                "open: no program took %s, xdg-open ended with %d", what.c_str(), code);
        g_spawn_close_pid(child);
    }

    [[nodiscard]] bool askFileManager(const fs::path& file) const {
        const GlibString uri(g_filename_to_uri(file.c_str(), nullptr, nullptr));
        const CancelAfter deadline(fileManagerPatience, end.get());
        const auto bus = SessionBus::connect(deadline);
        if (!uri || !bus) return false;
        const std::array<const char*, 2> uris{uri.get(), nullptr};
        GlibError error;
        const GVariantPointer reply(g_dbus_connection_call_sync(bus->get(),
            "org.freedesktop.FileManager1", "/org/freedesktop/FileManager1",
            "org.freedesktop.FileManager1", "ShowItems", g_variant_new("(^ass)", uris.data(), ""),
            nullptr, G_DBUS_CALL_FLAGS_NONE, -1, deadline, error.out()));
        if (!reply) log.info("open: no file manager shows files, error=%s", error.code().c_str());
        return reply != nullptr;
    }
};

XdgDocumentOpener::XdgDocumentOpener(LogSink& sink, std::vector<std::string> environment)
    : log(sink, "desktop"),
      worker(std::make_unique<Worker>(
          sink, environment.empty() ? firstEnvironment() : std::move(environment))) {}

XdgDocumentOpener::~XdgDocumentOpener() = default;

bool XdgDocumentOpener::isAllowed(const std::string& url) {
    const auto scheme = schemeOf(url);
    const bool isKnown = scheme == "mailto" || ((scheme == "http" || scheme == "https") &&
                                                   url.compare(scheme.size(), 3, "://") == 0);
    return isKnown && url.size() > scheme.size() + 1 &&
           std::none_of(
               url.begin(), url.end(), [](unsigned char c) { return c <= ' ' || c == 0x7F; });
}

std::string XdgDocumentOpener::origin(const std::string& url) {
    auto scheme = schemeOf(url);
    if (scheme == "mailto") return scheme;
    const auto begin = scheme.size() + 3;
    auto host = url.substr(begin, url.find_first_of("/?#", begin) - begin);
    if (const auto at = host.rfind('@'); at != host.npos) host.erase(0, at + 1); // a password
    return scheme + "://" + host;
}

void XdgDocumentOpener::openURL(const std::string& url) {
    if (!isAllowed(url)) {
        log.error("open: an address of another kind was not opened, length=%zu", url.size());
        return;
    }
    worker->open(url, origin(url));
}

void XdgDocumentOpener::reveal(const fs::path& file) {
    std::error_code error;
    const auto absolute = fs::absolute(file, error);
    if (!error) worker->show(absolute);
}

} // namespace nimbe
