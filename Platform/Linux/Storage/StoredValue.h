#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Foundation/UserDefaults.h"

namespace nimbe {

/// A setting as a row of the settings file: the number of its type and its bytes,
/// both part of the format. A bool is one byte 0 or 1, a list of texts a JSON array,
/// anything else the bytes themselves.
class StoredValue {
public:
    /// Lends the value's bytes where it can: the value must outlive this.
    explicit StoredValue(const UserDefaults::Value& value);
    StoredValue(const StoredValue&) = delete;
    StoredValue& operator=(const StoredValue&) = delete;

    [[nodiscard]] std::int64_t kind() const { return static_cast<std::int64_t>(type); }
    [[nodiscard]] std::string_view bytes() const { return view; }

    /// Absent when the bytes do not have the form of the type.
    [[nodiscard]] static std::optional<UserDefaults::Value> decode(
        std::int64_t kind, std::string_view bytes);

private:
    enum class Kind : std::int64_t { boolean = 0, string = 1, binary = 2, stringArray = 3 };
    struct Encoder;

    Kind type = Kind::boolean;
    std::string own; // bytes that stand nowhere else
    std::string_view view;
};

} // namespace nimbe
