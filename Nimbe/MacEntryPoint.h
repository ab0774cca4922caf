#pragma once

#include <string>
#include <vector>

#include "NimbeApp/LaunchOptions.h"

namespace nimbe {

/// Which of its roles the program was started for.
struct MacEntryPoint {
    enum class Mode {
        mcpStdio, // a server over standard input and output, without a desktop
        app,      // the application
        shell     // one verb
    };

    /// `arguments`: what is left without the launch options.
    [[nodiscard]] static Mode mode(
        const LaunchOptions& options, const std::vector<std::string>& arguments) {
        // A client that asks for the server must never get a window.
        if (options.mcpStdio) return Mode::mcpStdio;
        return arguments.empty() ? Mode::app : Mode::shell;
    }
};

} // namespace nimbe
