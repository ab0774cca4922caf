#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace nimbe {

/// What the keys of the keyboard are called. Main thread.
class KeyNames {
public:
    virtual ~KeyNames() = default;

    /// The keysym's name of a key without modifiers, as Shortcut has it, by the number
    /// that the toolkit has for the key itself. Absent: it has none.
    [[nodiscard]] virtual std::optional<std::string> name(std::uint32_t scanCode) = 0;
};

} // namespace nimbe
