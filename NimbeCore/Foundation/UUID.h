#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace nimbe {

/// RFC 4122. Its text is upper-case, which is how ids leave the process.
class UUID {
public:
    /// Version 4, from the system's random numbers. Any thread.
    [[nodiscard]] static UUID random();

    /// Reads the 36-character form, in either case; absent for anything else.
    [[nodiscard]] static std::optional<UUID> parse(std::string_view text);

    [[nodiscard]] std::string text() const;

    // clang-tidy 14 takes the comparison's own zero for a null pointer.
    friend auto operator<=>(const UUID&, const UUID&) = default; // NOLINT(modernize-use-nullptr)

private:
    std::array<std::uint8_t, 16> bytes{};
};

} // namespace nimbe
