#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "Foundation/Result.h"

namespace nimbe {

using Bytes = std::vector<std::uint8_t>;

/// Why a stored value is not to be had; the log has the details.
struct DefaultsError {
    enum class Kind {
        unreadable, // what is stored is damaged, or of a newer version
        unavailable // the store cannot be reached just now
    };
    Kind kind = Kind::unavailable;
};

/// A setting: its key, its type and its default, declared once beside what it
/// sets. Code asks for the setting, never for the key.
template <typename T>
struct Setting {
    std::string_view key;
    T fallback{};
};

/// The user's settings and small sealed values, one key each; keys are UTF-8.
///
/// Shared between processes: a write is seen by every later read of any of them,
/// survives a crash of the machine once it returned true, and is whole or not
/// there. Any thread; waits for other writers at most a few seconds.
class UserDefaults {
public:
    using Value = std::variant<bool, std::string, Bytes, std::vector<std::string>>;

    virtual ~UserDefaults() = default;

    /// Absent: nothing is stored. When the store fails now but this process has
    /// seen the key before, that last value is the answer, except in a transaction;
    /// an error means that something may be stored that must not be taken for absent.
    [[nodiscard]] virtual Result<std::optional<Value>, DefaultsError> value(
        std::string_view key) = 0;

    /// False: not stored, the old value stays and the log says why. Text that is
    /// not UTF-8 is refused.
    [[nodiscard]] virtual bool setValue(std::string_view key, Value value) = 0;

    /// Removing what is not there succeeds.
    [[nodiscard]] virtual bool removeValue(std::string_view key) = 0;

    /// What is stored under `key`, even what cannot be read, is afterwards stored
    /// under `newKey` alone, in place of what was there: for setting a value aside.
    /// Moving what is not there succeeds. False: both are as they were.
    [[nodiscard]] virtual bool moveValue(std::string_view key, std::string_view newKey) = 0;

    /// Runs `body`, whose calls on this object, made on this thread, then see
    /// and change the values without any other writer in between. All of its
    /// changes are kept when it returns true, none when it returns false or
    /// throws. False when nothing was kept; `body` may not have run then. May be
    /// nested: the outermost decides.
    [[nodiscard]] virtual bool transaction(const std::function<bool()>& body) = 0;

    /// The stored value, or the setting's own when there is none, it cannot be
    /// read or is of another type.
    template <typename T>
    [[nodiscard]] T get(const Setting<T>& setting) {
        const auto stored = value(setting.key);
        if (!stored || !*stored) return setting.fallback;
        const T* typed = std::get_if<T>(&**stored);
        return typed ? *typed : setting.fallback;
    }

    template <typename T>
    [[nodiscard]] bool set(const Setting<T>& setting, T newValue) {
        return setValue(setting.key, Value(std::move(newValue)));
    }

    template <typename T>
    [[nodiscard]] bool remove(const Setting<T>& setting) {
        return removeValue(setting.key);
    }
};

/// False when a text in it is not UTF-8.
[[nodiscard]] bool isStorable(const UserDefaults::Value& value);

} // namespace nimbe
