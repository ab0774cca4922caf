#pragma once

#include "NimbeLoader/ModuleLoader.h"
#include "NimbeMCP/ToolCalls.h"
#include "NimbeMCPMode/ToolsModule.h"

namespace nimbe {

/// The tools of the library, which is loaded when one is first called.
class LoadedTools final : public ToolCalls {
public:
    [[nodiscard]] std::string call(std::string_view name, const Json& arguments) override;

private:
    ReservedModule library{"libnimbe-tools.so"};
    ToolsModule* tools = nullptr;

    [[nodiscard]] bool load();
};

} // namespace nimbe
