#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "Foundation/Task.h"
#include "NimbeApp/AccessibilityTrust.h"
#include "NimbeApp/ApplicationLaunch.h"
#include "NimbeApp/KeyEventSource.h"
#include "NimbeKitCore/OptionHoldPolicy.h"

namespace nimbe {

/// Feeds the desktop's key events to OptionHoldPolicy, runs its timers and calls
/// back. Main actor; stops when it is destroyed, which a callback may do.
class OptionKeyMonitor : public std::enable_shared_from_this<OptionKeyMonitor> {
public:
    /// Lent; all outlive the monitor.
    struct Platform {
        MainActor& actor;
        KeyEventSource& keys;
        AccessibilityTrust& trust;
        ApplicationLaunch& launch;
    };

    struct Callbacks {
        std::function<void()> press;     // held for the arm delay with nothing else down
        std::function<void()> release;   // after a press
        std::function<void()> doubleTap; // two clean taps
    };

    /// Two releases at most this far apart are a double tap.
    static constexpr Seconds doubleTapWindow = 0.35;

    /// How often trust is asked for while it is not granted.
    static constexpr Seconds trustInterval = 1.0;

    [[nodiscard]] static std::shared_ptr<OptionKeyMonitor> create(
        Platform platform, Callbacks callbacks);

    /// Begins to watch as soon as the application has launched and is trusted.
    void start();

private:
    OptionKeyMonitor(Platform platform, Callbacks callbacks);

    using Policy = OptionHoldPolicy;

    Platform platform;
    Policy::State state = Policy::State::idle;
    Token globalFlags;
    Token globalKeys;
    Token localMonitor;
    Token launchObserver;
    TaskHandle trustTask;
    TaskHandle armTask;
    bool optionWasDown = false;
    /// On the monotonic clock: setting the system clock makes no double tap.
    std::optional<Seconds> lastCleanTapAt;
    Callbacks callbacks;

    void install();
    [[nodiscard]] KeyEventSource::Handler handler();
    void handle(const KeyEvent& event);
    void flagsChanged(const ModifierFlags& flags);
    void feed(Policy::Event event);
    void cleanTap();

    static Task<void> waitForTrust(std::weak_ptr<OptionKeyMonitor> weakSelf, MainActor& actor);
    static Task<void> armAfterDelay(std::weak_ptr<OptionKeyMonitor> weakSelf, MainActor& actor);
};

} // namespace nimbe
