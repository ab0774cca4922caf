#include "NimbeApp/LaunchOptions.h"

namespace nimbe {

LaunchOptions LaunchOptions::take(std::vector<std::string>& arguments) {
    LaunchOptions options;
    const auto took = [&](std::string_view name) {
        return std::erase(arguments, name) > 0;
    };
    options.resetOnboarding = took("-resetOnboarding");
    options.forceLocalOnly = took("-forceLocalOnly");
    options.mcpStdio = took("--mcp-stdio");
    options.hidden = took("--hidden");
    return options;
}

void LaunchOptions::report(LogSink& sink) const {
    if (forceLocalOnly)
        Log(sink, "launch")
            .info("forceLocalOnly: launch argument present, binding local-only this launch");
}

} // namespace nimbe
