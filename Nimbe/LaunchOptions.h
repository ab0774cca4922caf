#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Foundation/Log.h"

namespace nimbe {

/// What the command line says about how the program starts, for every mode of it.
struct LaunchOptions {
    bool resetOnboarding = false; // "-resetOnboarding": the first-run steps come again
    bool forceLocalOnly = false;  // "-forceLocalOnly": this launch goes without the cloud
    bool mcpStdio = false;        // "--mcp-stdio": answer another program, no desktop
    bool hidden = false;          // "--hidden": show no window

    /// Whole arguments, wherever they stand; they are taken out of the list.
    [[nodiscard]] static LaunchOptions take(std::vector<std::string>& arguments);

    /// Says which of them bind this launch.
    void report(LogSink& sink) const;

    friend bool operator==(const LaunchOptions&, const LaunchOptions&) = default;
};

} // namespace nimbe
