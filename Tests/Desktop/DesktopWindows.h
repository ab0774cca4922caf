#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>
#include <xcb/xcb.h>

namespace nimbe {

/// The user's hands and eyes on an X11 desktop: keys through XTEST, and which window is
/// where. One thread.
class DesktopWindows {
public:
    DesktopWindows();
    ~DesktopWindows();
    DesktopWindows(const DesktopWindows&) = delete;
    DesktopWindows& operator=(const DesktopWindows&) = delete;

    // Keycodes of a common keyboard (evdev's, plus 8).
    static constexpr std::uint8_t escape = 9, returnKey = 36, control = 37, keyA = 38, keyS = 39,
                                  keyD = 40, shift = 50, altLeft = 64, altRight = 108;

    /// Seconds on the monotonic clock just after the server had the event.
    double key(std::uint8_t keycode, bool isDown);
    /// Presses all, lets go of all.
    void chord(std::vector<std::uint8_t> keycodes);

    /// The managed window of the process, or whose class holds that word; waits for it.
    [[nodiscard]] std::optional<xcb_window_t> waitForWindow(
        const std::string& windowClass, double seconds = 20);
    /// Brings it forward and waits until it is.
    [[nodiscard]] bool focus(xcb_window_t window);
    [[nodiscard]] xcb_window_t activeWindow();
    [[nodiscard]] bool exists(xcb_window_t window);
    void close(xcb_window_t window);
    void minimise(xcb_window_t window);

private:
    xcb_connection_t* xcb;
    const xcb_screen_t* screen;

    [[nodiscard]] xcb_atom_t atom(const std::string& name);
    [[nodiscard]] std::vector<std::uint32_t> numbers(xcb_window_t window, const char* property);
    void ask(xcb_window_t window, const char* message, std::vector<std::uint32_t> data);
    void sync();
};

/// Looks a hundred times a second where the keyboard is, and sees every menu that opens.
class FocusWatch {
public:
    FocusWatch();
    ~FocusWatch();
    FocusWatch(const FocusWatch&) = delete;
    FocusWatch& operator=(const FocusWatch&) = delete;

    /// What has changed since the beginning: "active 1a00003", "focus …", "menu …".
    [[nodiscard]] std::vector<std::string> changes() const;

private:
    mutable std::mutex mutex;
    std::vector<std::string> seen;
    std::atomic<bool> isEnding = false;
    std::atomic<bool> isWatching = false;
    std::thread thread;

    void watch();
};

} // namespace nimbe
