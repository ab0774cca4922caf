#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/Result.h"
#include "Foundation/UserDefaults.h"

namespace nimbe {

/// A setting that its user may read and change from the shell. Never one that holds what
/// was said, or a secret.
struct PublicSetting {
    using Value = UserDefaults::Value;
    /// Why a value is not taken: the end of a sentence that begins with the key.
    using Refusal = std::optional<std::string> (*)(const Value& value);

    std::string_view key;
    Value fallback;        // its type is the setting's: bool, text, or a list of texts
    std::string_view text; // what it does, one line
    Refusal refusal = nullptr;

    /// In the order in which they are listed.
    [[nodiscard]] static const std::vector<PublicSetting>& all();
    [[nodiscard]] static const PublicSetting* named(std::string_view key);

    /// "bool", "string" or "list".
    [[nodiscard]] std::string_view typeName() const;

    /// From words of a command line; an error is the end of a sentence that begins with the
    /// key.
    [[nodiscard]] Result<Value, std::string> parse(const std::vector<std::string>& words) const;

    enum class State {
        standard, // nothing is stored
        stored,
        damaged // what is stored cannot be read, or is of another type
    };
    struct Current {
        State state = State::standard;
        Value value; // what counts
    };
    /// Absent when the settings cannot be reached.
    [[nodiscard]] std::optional<Current> current(UserDefaults& defaults) const;
};

} // namespace nimbe
