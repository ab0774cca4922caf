#pragma once

#include <string>
#include <string_view>

namespace nimbe {

/// The tools that a client is offered: search_dictations, get_dictation and
/// list_dictations. All of them only read.
struct MCPTools {
    /// A JSON array of what each is called, does and takes.
    [[nodiscard]] static std::string_view descriptors();

    /// The "result" of a call as JSON: its payload, or why it failed.
    [[nodiscard]] static std::string result(std::string_view text, bool isError);
};

} // namespace nimbe
