#include "NimbeApp/LaunchOptions.h"

#include "NimbeApp/CrashSentinelController.h"

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

bool takeForceLocalOnlyOnce(UserDefaults& defaults) {
    const auto& once = CrashSentinelController::forceLocalOnlyOnce;
    if (!defaults.get(once)) return false; // most launches write nothing
    bool isAsked = true;
    (void)defaults.transaction([&] {
        isAsked = defaults.get(once);
        return isAsked && defaults.remove(once);
    });
    return isAsked;
}

} // namespace nimbe
