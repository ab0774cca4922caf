#pragma once

#include <string>
#include <string_view>

namespace nimbe {

/// The tools that a client is offered: search_dictations, get_dictation and
/// list_dictations. All of them only read.
struct MCPTools {
    /// A JSON array of what each is called, does and takes.
    [[nodiscard]] static std::string_view descriptors();

    /// The "result" of a call that failed, as JSON: why it did.
    [[nodiscard]] static std::string error(std::string_view text);

    /// Between these two, the "result" of a call that gives JSON: that, escaped as the text
    /// of a string.
    static constexpr std::string_view beforePayload = R"({"content":[{"type":"text","text":")";
    static constexpr std::string_view behindPayload = R"("}],"isError":false})";
};

} // namespace nimbe
