#pragma once

#include <string>
#include <string_view>

namespace nimbe {

/// Writes JSON straight into a string, for answers that are not worth a tree. The text
/// must be UTF-8.
namespace jsonText {

/// The text as a JSON string, quotation marks included.
void appendQuoted(std::string& to, std::string_view text);

/// The text without quotation marks, for a string within JSON that is itself the text of a
/// JSON string: escaped for both at once.
void appendEscapedTwice(std::string& to, std::string_view text);

/// A member's name, which needs no escapes, and its text.
void appendMember(std::string& to, std::string_view name, std::string_view text);

} // namespace jsonText
} // namespace nimbe
