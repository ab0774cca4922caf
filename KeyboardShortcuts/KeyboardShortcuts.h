#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/Log.h"
#include "Foundation/Published.h"
#include "Foundation/Result.h"
#include "Foundation/UserDefaults.h"
#include "KeyboardShortcuts/HotKeys.h"

namespace nimbe {

/// Why a chord was not taken, or one that is stored does not work.
struct ShortcutError {
    enum class Kind {
        needsModifier, // it would take a key away from typing
        modifierOnly,  // no key beside the modifiers
        usedHere,      // another of our own names has it
        editing,       // every program copies, pastes or the like with it
        taken,         // another program holds it
        unknownKey,
        unavailable,
        notStored,
        damaged,   // what is stored is no chord
        unreadable // the settings cannot be read just now
    };
    Kind kind = Kind::unavailable;
    /// For the user, one sentence; of what is stored and cannot be read `shortcut` says
    /// nothing.
    [[nodiscard]] std::string message(const Shortcut& shortcut) const;
};

/// Named shortcuts: what the user recorded for each, registered with the desktop. Stored as
/// Shortcut::text() under "KeyboardShortcuts_" and the name. Main thread.
///
/// An `up` follows each `down`, also when the chord is no longer registered by then: it
/// comes with the call that ends the registration. Handlers and observers may call all of
/// this, and destroy it.
class KeyboardShortcuts {
public:
    KeyboardShortcuts(HotKeys& hotKeys, UserDefaults& defaults, LogSink& sink);
    KeyboardShortcuts(const KeyboardShortcuts&) = delete;
    KeyboardShortcuts& operator=(const KeyboardShortcuts&) = delete;

    /// What a name does; registers the chord that is stored for it, if any. Once a name.
    void handle(std::string_view name, HotKeys::Handlers handlers);

    /// What is stored, whether it works or not. Absent: none is, or it is no chord.
    [[nodiscard]] std::optional<Shortcut> shortcut(std::string_view name);

    /// Stores and registers a chord in place of the one before. On an error all is as
    /// before; should the chord before have been lost meanwhile, problem() says so.
    [[nodiscard]] Result<void, ShortcutError> record(
        std::string_view name, const Shortcut& shortcut);
    /// False: it could not be removed from the settings, and goes on.
    [[nodiscard]] bool clear(std::string_view name);

    /// While a chord is being recorded the registered ones do not fire, and can be
    /// recorded again. One recorded meanwhile fires from resume() on.
    void suspend();
    /// Also tries again what could not be registered.
    void resume();

    /// Told after a shortcut was recorded, cleared or could not be registered.
    [[nodiscard]] Token observeChanges(std::function<void()> handler);

    /// Why the stored chord of a name does not work now.
    [[nodiscard]] std::optional<std::string> problem(std::string_view name) const;

private:
    /// What stands behind the desktop's callbacks.
    struct Action {
        HotKeys::Handlers handlers;
        bool isDown = false;

        void press();
        void release();
    };
    struct Named {
        std::shared_ptr<Action> action; // null until it is handled
        Token registration;
        std::optional<Shortcut> registered;
        std::optional<std::string> problem;
    };
    using Outcome = Result<void, ShortcutError>;
    /// The ups of chords that are no longer registered; called when all else is done.
    using Owed = std::vector<std::function<void()>>;

    HotKeys& hotKeys;
    UserDefaults& defaults;
    Log log;
    std::map<std::string, Named, std::less<>> names;
    Published<int> changes;
    bool isSuspended = false;

    [[nodiscard]] Named& named(std::string_view name);
    [[nodiscard]] Result<std::optional<Shortcut>, ShortcutError> stored(std::string_view name);
    [[nodiscard]] bool isStoredForAnother(std::string_view name, const Shortcut& shortcut);
    [[nodiscard]] Outcome replace(std::string_view name, Named& entry, const Shortcut& shortcut);
    [[nodiscard]] Outcome registerChord(Named& entry, const Shortcut& shortcut);
    [[nodiscard]] Outcome registerStored(std::string_view name, Named& entry);
    static void drop(Named& entry, Owed& owed);

    /// Tries all that are stored and not registered. True: what problem() says has changed.
    bool registerAllStored();
    void finish(bool isToBeTold, const Owed& owed);
};

} // namespace nimbe
