#pragma once

#include <string>
#include <string_view>

#include "Foundation/Json.h"

namespace nimbe {

/// Runs the tools of MCPTools. One thread.
class ToolCalls {
public:
    virtual ~ToolCalls() = default;

    /// The "result" of the call as JSON, of a failed one too, which says why. Optional
    /// arguments of another type count as absent.
    [[nodiscard]] virtual std::string call(std::string_view name, const Json& arguments) = 0;
};

} // namespace nimbe
