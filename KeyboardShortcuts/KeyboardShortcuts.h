#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "Foundation/Log.h"
#include "Foundation/Published.h"
#include "Foundation/Result.h"
#include "Foundation/UserDefaults.h"
#include "KeyboardShortcuts/HotKeys.h"

namespace nimbe {

/// Why a chord was not taken.
struct ShortcutError {
    enum class Kind {
        needsModifier, // it would take a key away from typing
        taken,         // another program holds it
        unknownKey,
        unavailable,
        notStored
    };
    Kind kind = Kind::unavailable;
    /// For the user, one sentence.
    [[nodiscard]] std::string message(const Shortcut& shortcut) const;
};

/// Named shortcuts: what the user recorded for each, registered with the desktop. Main
/// thread.
class KeyboardShortcuts {
public:
    KeyboardShortcuts(HotKeys& hotKeys, UserDefaults& defaults, LogSink& sink);
    KeyboardShortcuts(const KeyboardShortcuts&) = delete;
    KeyboardShortcuts& operator=(const KeyboardShortcuts&) = delete;

    /// What a name does; registers the chord that is stored for it, if any. Once a name.
    void handle(std::string_view name, HotKeys::Handlers handlers);

    /// Absent: none is recorded.
    [[nodiscard]] std::optional<Shortcut> shortcut(std::string_view name);

    /// Stores and registers a chord in place of the one before. On an error all is as
    /// before.
    [[nodiscard]] Result<void, ShortcutError> record(
        std::string_view name, const Shortcut& shortcut);
    /// False: it could not be removed from the settings.
    [[nodiscard]] bool clear(std::string_view name);

    /// While a chord is being recorded the registered ones do not fire, and can be
    /// recorded again.
    void suspend();
    void resume();

    /// Told after a shortcut was recorded, cleared or could not be registered.
    [[nodiscard]] Token observeChanges(std::function<void()> handler);

    /// Why the stored chord of a name does not work now.
    [[nodiscard]] std::optional<std::string> problem(std::string_view name) const;

private:
    struct Named {
        HotKeys::Handlers handlers;
        Token registration;
        std::optional<ShortcutError> problem;
    };

    HotKeys& hotKeys;
    UserDefaults& defaults;
    Log log;
    std::map<std::string, Named, std::less<>> names;
    Published<int> changes;
};

} // namespace nimbe
