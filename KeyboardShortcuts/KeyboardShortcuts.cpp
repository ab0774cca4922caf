#include "KeyboardShortcuts/KeyboardShortcuts.h"

#include <algorithm>
#include <utility>

#include "KeyboardShortcuts/ShortcutPolicy.h"

namespace nimbe {
namespace {

using Kind = ShortcutError::Kind;

std::string keyOf(std::string_view name) {
    return "KeyboardShortcuts_" + std::string(name);
}

std::optional<Kind> refusal(const Shortcut& shortcut) {
    switch (ShortcutPolicy::decide(shortcut)) {
    case ShortcutPolicy::Decision::allowed: return std::nullopt;
    case ShortcutPolicy::Decision::needsModifier: return Kind::needsModifier;
    case ShortcutPolicy::Decision::modifierOnly: return Kind::modifierOnly;
    case ShortcutPolicy::Decision::editing: return Kind::editing;
    }
    return std::nullopt;
}

Kind kindOf(HotKeyError error) {
    switch (error) {
    case HotKeyError::taken: return Kind::taken;
    case HotKeyError::unknownKey: return Kind::unknownKey;
    case HotKeyError::unavailable: return Kind::unavailable;
    }
    return Kind::unavailable;
}

} // namespace

std::string ShortcutError::message(const Shortcut& shortcut) const {
    const auto chord = shortcut.displayName();
    switch (kind) {
    case Kind::needsModifier: return chord + " is for typing: hold Ctrl, Alt or Super with it.";
    case Kind::modifierOnly: return "A shortcut needs another key beside Ctrl, Alt and the like.";
    case Kind::editing:
        return chord + " is what other programs edit with: add Alt, Shift or Super.";
    case Kind::usedHere: return chord + " is another shortcut of Nimbe already.";
    case Kind::taken: return chord + " is used by another program.";
    case Kind::unknownKey: return "This keyboard has no key for " + chord + ".";
    case Kind::unavailable: return "This desktop offers no shortcuts that work in all programs.";
    case Kind::notStored: return chord + " could not be stored.";
    case Kind::damaged: return "The shortcut's setting is damaged: record the shortcut again.";
    case Kind::unreadable: return "The shortcut's setting cannot be read just now.";
    }
    return {};
}

void KeyboardShortcuts::Action::press() {
    if (std::exchange(isDown, true)) return;
    const auto handler = handlers.down; // it may destroy this
    if (handler) handler();
}

void KeyboardShortcuts::Action::release() {
    if (!std::exchange(isDown, false)) return;
    const auto handler = handlers.up;
    if (handler) handler();
}

KeyboardShortcuts::KeyboardShortcuts(HotKeys& hotKeys, UserDefaults& defaults, LogSink& sink)
    : hotKeys(hotKeys), defaults(defaults), log(sink, "shortcuts") {}

KeyboardShortcuts::Named& KeyboardShortcuts::named(std::string_view name) {
    const auto found = names.find(name);
    return found != names.end() ? found->second : names[std::string(name)];
}

void KeyboardShortcuts::handle(std::string_view name, HotKeys::Handlers handlers) {
    auto& entry = named(name);
    entry.action = std::make_shared<Action>(Action{std::move(handlers)});
    finish(registerAllStored(), {});
}

std::optional<Shortcut> KeyboardShortcuts::shortcut(std::string_view name) {
    return stored(name).value_or(std::nullopt);
}

Result<std::optional<Shortcut>, ShortcutError> KeyboardShortcuts::stored(std::string_view name) {
    const auto value = defaults.value(keyOf(name));
    if (!value) {
        const bool isDamaged = value.error().kind == DefaultsError::Kind::unreadable;
        return failure(ShortcutError{isDamaged ? Kind::damaged : Kind::unreadable});
    }
    if (!*value) return std::optional<Shortcut>();
    const auto* const text = std::get_if<std::string>(&**value);
    auto shortcut = text ? Shortcut::parse(*text) : std::nullopt;
    if (!shortcut) return failure(ShortcutError{Kind::damaged});
    return shortcut;
}

bool KeyboardShortcuts::isStoredForAnother(std::string_view name, const Shortcut& shortcut) {
    return std::any_of(names.begin(), names.end(), [&](const auto& other) {
        return other.first != name && this->shortcut(other.first) == shortcut;
    });
}

Result<void, ShortcutError> KeyboardShortcuts::record(
    std::string_view name, const Shortcut& shortcut) {
    if (const auto kind = refusal(shortcut)) return failure(ShortcutError{*kind});
    if (isStoredForAnother(name, shortcut)) return failure(ShortcutError{Kind::usedHere});

    Owed owed;
    auto& entry = named(name);
    drop(entry, owed);
    auto outcome = replace(name, entry, shortcut);
    // A chord that was dropped above is registered again; another name's may be free now.
    const bool hasChanged = registerAllStored();
    finish(outcome.has_value() || hasChanged, owed);
    return outcome;
}

/// Only a chord that the desktop gave is stored.
KeyboardShortcuts::Outcome KeyboardShortcuts::replace(
    std::string_view name, Named& entry, const Shortcut& shortcut) {
    auto outcome = registerChord(entry, shortcut);
    if (outcome && !defaults.setValue(keyOf(name), shortcut.text()))
        outcome = failure(ShortcutError{Kind::notStored});
    Owed none; // nobody has pressed it yet
    if (!outcome || isSuspended || !entry.action) drop(entry, none);
    if (outcome) entry.problem.reset();
    return outcome;
}

bool KeyboardShortcuts::clear(std::string_view name) {
    if (!defaults.removeValue(keyOf(name))) return false;
    Owed owed;
    auto& entry = named(name);
    drop(entry, owed);
    entry.problem.reset();
    registerAllStored();
    finish(true, owed);
    return true;
}

void KeyboardShortcuts::suspend() {
    isSuspended = true;
    Owed owed;
    for (auto& [name, entry] : names) drop(entry, owed);
    finish(false, owed);
}

void KeyboardShortcuts::resume() {
    isSuspended = false;
    finish(registerAllStored(), {});
}

Token KeyboardShortcuts::observeChanges(std::function<void()> handler) {
    return changes.observe([handler = std::move(handler)](int) { handler(); });
}

std::optional<std::string> KeyboardShortcuts::problem(std::string_view name) const {
    const auto found = names.find(name);
    return found != names.end() ? found->second.problem : std::nullopt;
}

KeyboardShortcuts::Outcome KeyboardShortcuts::registerChord(
    Named& entry, const Shortcut& shortcut) {
    HotKeys::Handlers handlers;
    if (const auto action = entry.action)
        handlers = {[action] { action->press(); },
            [action] {
                action->release();
            }};
    auto registration = hotKeys.registerHotKey(shortcut, std::move(handlers));
    if (!registration) return failure(ShortcutError{kindOf(registration.error())});
    entry.registration = std::move(*registration);
    entry.registered = shortcut;
    return {};
}

KeyboardShortcuts::Outcome KeyboardShortcuts::registerStored(std::string_view name, Named& entry) {
    entry.problem.reset();
    const auto shortcut = stored(name);
    auto outcome = Outcome();
    if (!shortcut) {
        outcome = failure(shortcut.error());
    } else if (*shortcut) {
        const bool isUsedHere = std::any_of(names.begin(), names.end(),
            [&](const auto& other) { return other.second.registered == *shortcut; });
        if (const auto kind = refusal(**shortcut))
            outcome = failure(ShortcutError{*kind});
        else if (isUsedHere)
            outcome = failure(ShortcutError{Kind::usedHere});
        else
            outcome = registerChord(entry, **shortcut);
    }
    if (!outcome)
        entry.problem =
            outcome.error().message(shortcut ? shortcut->value_or(Shortcut()) : Shortcut());
    return outcome;
}

bool KeyboardShortcuts::registerAllStored() {
    if (isSuspended) return false;
    bool hasChanged = false;
    for (auto& [name, entry] : names) {
        if (!entry.action || entry.registered) continue;
        const auto before = entry.problem;
        const auto outcome = registerStored(name, entry);
        hasChanged = hasChanged || entry.problem != before;
        if (!outcome && entry.problem != before)
            log.warning("shortcuts: the one for %s does not work, reason %d", name.c_str(),
                static_cast<int>(outcome.error().kind));
    }
    return hasChanged;
}

void KeyboardShortcuts::drop(Named& entry, Owed& owed) {
    // Before the registration goes, which may bring the up by itself.
    if (entry.action && std::exchange(entry.action->isDown, false))
        if (const auto& up = entry.action->handlers.up) owed.push_back(up);
    entry.registration.reset();
    entry.registered.reset();
}

/// Whoever is called may destroy this.
void KeyboardShortcuts::finish(bool isToBeTold, const Owed& owed) {
    if (isToBeTold) changes.set(changes.get() + 1);
    for (const auto& up : owed) up();
}

} // namespace nimbe
