#pragma once

#include <string>
#include <string_view>

#include "Foundation/Json.h"
#include "Foundation/Result.h"

namespace nimbe {

/// The tools over this machine's history, in a library of its own that is loaded at the
/// first call of one: a client that starts the server and asks what it offers does not wait
/// for the libraries behind the history.
class ToolsModule {
public:
    virtual ~ToolsModule() = default;

    /// As ToolCalls has it; an error is what an exception said that came of it, since none
    /// may leave the library. What is wrong with the history is one line on standard error.
    [[nodiscard]] virtual Result<std::string, std::string> call(
        std::string_view name, const Json& arguments) = 0;
};

} // namespace nimbe
