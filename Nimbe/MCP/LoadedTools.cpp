#include "NimbeMCPMode/LoadedTools.h"

#include <stdexcept>
#include <utility>

#include "NimbeMCP/MCPTools.h"
#include "NimbeMCPMode/Report.h"

namespace nimbe {

std::string LoadedTools::call(std::string_view name, const Json& arguments) {
    if (!tools && !load())
        return MCPTools::error("A part of Nimbe cannot be loaded. Install it again.");
    auto result = tools->call(name, arguments);
    if (!result) throw std::runtime_error(result.error());
    return std::move(*result);
}

bool LoadedTools::load() {
    const auto loaded = library.load<ToolsModule>("nimbeToolsModule");
    if (!loaded) {
        report("What reads the history cannot be loaded: " + loaded.error());
        return false;
    }
    tools = *loaded;
    return true;
}

} // namespace nimbe
