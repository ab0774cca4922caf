#include "PlatformX11/XcbWorkspace.h"

#include <filesystem>
#include <system_error>
#include <unistd.h>
#include <utility>
#include <vector>

#include "PlatformX11/DesktopEntries.h"
#include "PlatformX11/XcbWindows.h"

namespace nimbe {
namespace {

/// Of a program that was replaced while it runs the kernel says so behind its name.
std::string executableOf(int pid) {
    std::error_code error;
    auto name = std::filesystem::read_symlink("/proc/" + std::to_string(pid) + "/exe", error)
                    .filename()
                    .string();
    constexpr std::string_view replaced = " (deleted)";
    if (name.ends_with(replaced)) name.resize(name.size() - replaced.size());
    return name;
}

} // namespace

/// What the main thread knows.
class XcbWorkspace::State : public std::enable_shared_from_this<State> {
public:
    State(MainActor& actor, std::unique_ptr<XcbWindows> windows)
        : actor(actor), windows(std::move(windows)) {}

    XcbLoop* loop = nullptr; // null once it goes

    [[nodiscard]] std::optional<RunningApplication> front() {
        return application(windows->withKeyboard());
    }
    void activate(const RunningApplication& application) {
        windows->activate(static_cast<xcb_window_t>(application.window));
    }
    [[nodiscard]] Token observe(std::function<void(const RunningApplication&)> handler) {
        auto held = std::make_shared<Observer>(std::move(handler));
        observers.push_back(held);
        return Token(std::move(held));
    }

    /// A window manager may say the same again. A window that has gone is forgotten: the
    /// server gives its number to another.
    void activeChanged() {
        std::erase_if(observers, [](const auto& weak) { return weak.expired(); });
        if (observers.empty()) return;
        const auto found = application(windows->active());
        const auto active = found ? std::optional(found->window) : std::nullopt;
        if (std::exchange(lastActive, active) == active || !found) return;
        const auto kept = shared_from_this(); // an observer may drop us
        const auto told = observers;
        for (const auto& weak : told)
            if (const auto observer = weak.lock()) (*observer)(*found);
    }

    /// On the loop's thread, as there may be hundreds of files.
    void readEntries() {
        readAt = actor.now();
        isReading = true;
        loop->post([weak = weak_from_this(), &actor = actor] {
            auto read = DesktopEntries::read(DesktopEntries::dataFolders());
            actor.post([weak, entries = std::make_shared<DesktopEntries>(std::move(read))] {
                if (const auto self = weak.lock()) {
                    self->entries = entries;
                    self->isReading = false;
                }
            });
        });
    }

private:
    using Observer = std::function<void(const RunningApplication&)>;

    /// An unknown program may have been installed meanwhile.
    static constexpr Seconds entriesLast = 60;

    MainActor& actor;
    std::unique_ptr<XcbWindows> windows;
    std::shared_ptr<const DesktopEntries> entries; // null until they are read
    Seconds readAt = 0;
    bool isReading = false;
    std::vector<std::weak_ptr<Observer>> observers;
    std::optional<std::uint64_t> lastActive;

    [[nodiscard]] std::optional<RunningApplication> application(std::optional<xcb_window_t> id) {
        if (!id) return std::nullopt;
        auto window = windows->look(*id);
        if (!window) return std::nullopt;
        RunningApplication result;
        result.window = window->id;
        result.pid = window->pid;
        result.localizedName = nameOf(*window);
        result.windowClass = std::move(window->className);
        result.frame = window->frame;
        return result;
    }

    [[nodiscard]] std::optional<std::string> nameOf(const XcbWindows::Window& window) {
        const auto executable = window.pid ? executableOf(*window.pid) : std::string();
        if (entries)
            if (auto name = entries->name({window.instance, window.className, executable}))
                return name;
        if (!isReading && loop != nullptr && actor.now() - readAt > entriesLast) readEntries();
        if (!window.className.empty()) return window.className;
        if (!window.title.empty()) return window.title;
        return std::nullopt;
    }
};

std::unique_ptr<XcbWorkspace> XcbWorkspace::connect(MainActor& actor, LogSink& sink) {
    auto windows = XcbWindows::connect(sink);
    auto loop = XcbLoop::connect(sink, "nimbe-windows");
    if (!windows || !loop) return nullptr;
    return std::unique_ptr<XcbWorkspace>(new XcbWorkspace(
        actor, std::move(loop), std::make_shared<State>(actor, std::move(windows))));
}

XcbWorkspace::XcbWorkspace(
    MainActor& actor, std::unique_ptr<XcbLoop> connected, std::shared_ptr<State> created)
    : state(std::move(created)), loop(std::move(connected)) {
    const auto activeWindow = loop->atom("_NET_ACTIVE_WINDOW");
    const std::uint32_t events = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_change_window_attributes(loop->connection(), loop->root(), XCB_CW_EVENT_MASK, &events);
    xcb_flush(loop->connection()); // before the files are read
    state->loop = loop.get();
    state->readEntries();
    loop->start(
        [activeWindow, &actor, weak = std::weak_ptr(state)](const xcb_generic_event_t& event) {
            if ((event.response_type & 0x7f) != XCB_PROPERTY_NOTIFY) return;
            if (reinterpret_cast<const xcb_property_notify_event_t&>(event).atom != activeWindow)
                return;
            actor.post([weak] {
                if (const auto self = weak.lock()) self->activeChanged();
            });
        });
}

XcbWorkspace::~XcbWorkspace() {
    state->loop = nullptr;
    loop->stop();
}

std::optional<RunningApplication> XcbWorkspace::frontmostApplication() {
    return state->front();
}

Token XcbWorkspace::observeActivation(std::function<void(const RunningApplication&)> handler) {
    return state->observe(std::move(handler));
}

void XcbWorkspace::activate(const RunningApplication& application) {
    state->activate(application);
}

bool XcbWorkspace::isThisApplication(const RunningApplication& application) const {
    return application.pid == static_cast<int>(::getpid());
}

} // namespace nimbe
