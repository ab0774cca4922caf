#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "Foundation/Result.h"

namespace nimbe {

struct JsonError {
    std::size_t offset = 0; // in bytes
    std::string detail;     // for the log
};

/// A JSON value. Members keep their order and numbers the text they were
/// written with, so that what is read and written again is unchanged. Nothing
/// here recurses: documents may be nested as deep as memory reaches.
class Json {
public:
    struct Number {
        std::string text;
        friend bool operator==(const Number&, const Number&) = default;
    };
    struct Member;
    using Array = std::vector<Json>;
    using Object = std::vector<Member>;

    Json(); // null
    explicit Json(bool value);
    explicit Json(std::string text);
    explicit Json(std::string_view text);
    explicit Json(const char* text);
    explicit Json(Array elements);
    explicit Json(Object members);
    Json(const Json& other);
    Json(Json&& other) noexcept;
    Json& operator=(const Json& other);
    Json& operator=(Json&& other) noexcept;
    ~Json();

    [[nodiscard]] static Json integer(std::int64_t number);
    /// The shortest text that reads back as the same double; null when JSON has
    /// no word for it (infinities, not a number).
    [[nodiscard]] static Json number(double number);

    /// One document: UTF-8 without NUL bytes, at most white space around it.
    /// Of a member given twice both are kept, and the last one counts.
    [[nodiscard]] static Result<Json, JsonError> parse(std::string_view text);

    /// Pretty: two spaces a level, which do not grow any more below a hundred levels,
    /// so that the text stays as long as what it says.
    enum class Layout { compact, pretty };
    [[nodiscard]] std::string text(Layout layout = Layout::compact) const;

    [[nodiscard]] bool isNull() const { return std::holds_alternative<std::monostate>(value); }

    // Typed reads: absent (null pointer) when the value is of another type. An
    // integer is one by its text: 1.0 and "1" are not.
    [[nodiscard]] std::optional<bool> asBool() const;
    [[nodiscard]] std::optional<std::int64_t> asInteger() const;
    [[nodiscard]] std::optional<double> asDouble() const;
    [[nodiscard]] const Number* asNumber() const { return std::get_if<Number>(&value); }
    [[nodiscard]] const std::string* asString() const { return std::get_if<std::string>(&value); }
    [[nodiscard]] const Array* asArray() const { return std::get_if<Array>(&value); }
    [[nodiscard]] const Object* asObject() const { return std::get_if<Object>(&value); }
    [[nodiscard]] Array* asArray() { return std::get_if<Array>(&value); }

    /// Null when this is no object or has no such member.
    [[nodiscard]] const Json* member(std::string_view key) const;
    [[nodiscard]] Json* member(std::string_view key);

    /// In an object (anything else becomes an empty one first): replaces the
    /// member that counts, or adds one at the end.
    void set(std::string_view key, Json newValue);

    /// In an object: takes the members of that name out, all of them.
    void remove(std::string_view key);

    /// In every object the members by the bytes of their keys, which for UTF-8 is the
    /// order of code points; of a member given twice the one that counts stays.
    void sortMembers();

    friend bool operator==(const Json& left, const Json& right);

private:
    std::variant<std::monostate, bool, Number, std::string, Array, Object> value;

    friend class JsonBuilder;
    friend class JsonPrinter;
};

struct Json::Member {
    std::string key;
    Json value;
};

// Here, where a member is a complete type.
inline Json::Json() = default;
inline Json::Json(bool value) : value(value) {}
inline Json::Json(std::string text) : value(std::move(text)) {}
inline Json::Json(std::string_view text) : value(std::string(text)) {}
inline Json::Json(const char* text) : value(std::string(text)) {}
inline Json::Json(Array elements) : value(std::move(elements)) {}
inline Json::Json(Object members) : value(std::move(members)) {}

} // namespace nimbe
