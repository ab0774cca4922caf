#include <cerrno>
#include <cstdio>
#include <exception>
#include <fcntl.h>
#include <iostream>
#include <string>
#include <vector>

#include "NimbeApp/DesktopModule.h"
#include "NimbeApp/MacEntryPoint.h"
#include "NimbeGround/ModuleLoader.h"
#include "NimbeMCPMode/MCPMode.h"
#include "NimbeShell/CommandLine.h"
#include "ShellWiring.h"

namespace nimbe {
namespace {

/// A standard stream that is closed would become whichever file is opened first. In its
/// place something that fails as a closed one would.
void fillStandardStreams() {
    for (int stream = 0; stream <= 2; ++stream)
        if (::fcntl(stream, F_GETFD) == -1 && errno == EBADF)
            (void)::open("/dev/null", stream == 0 ? O_WRONLY : O_RDONLY);
}

int runApp(int argc, char** argv, const LaunchOptions& options) {
    const auto hearing = loadModule<HearingModule>("libnimbe-hearing.so", "nimbeHearingModule");
    if (!hearing) {
        std::cerr << "nimbe: What Nimbe hears with cannot be loaded: " << hearing.error() << "\n";
        return ExitCode::failure;
    }
    const auto desktop = loadModule<DesktopModule>("libnimbe-desktop.so", "nimbeDesktopModule");
    if (!desktop) {
        std::cerr << "nimbe: The application cannot be loaded: " << desktop.error() << "\n";
        return ExitCode::failure;
    }
    return (*desktop)->run({argc, argv, options, **hearing});
}

int runShell(const char* program, const std::vector<std::string>& arguments) {
    std::vector<const char*> words{program};
    for (const auto& argument : arguments) words.push_back(argument.c_str());
    const auto services = makeShellServices();
    return runCommandLine(
        static_cast<int>(words.size()), words.data(), *services, {std::cin, std::cout, std::cerr});
}

int run(int argc, char** argv) {
    std::vector<std::string> arguments(argv + (argc > 0 ? 1 : 0), argv + argc);
    const auto options = LaunchOptions::take(arguments);
    switch (MacEntryPoint::mode(options, arguments)) {
    case MacEntryPoint::Mode::mcpStdio: return runMCPMode();
    case MacEntryPoint::Mode::app: return runApp(argc, argv, options);
    case MacEntryPoint::Mode::shell: break;
    }
    return runShell(argc > 0 ? argv[0] : "nimbe", arguments);
}

} // namespace
} // namespace nimbe

int main(int argc, char** argv) {
    nimbe::fillStandardStreams();
    std::ios::sync_with_stdio(false);
    try {
        return nimbe::run(argc, argv);
    } catch (const std::exception& error) {
        // Memory ran out, most likely.
        std::fprintf(stderr, "nimbe: %s\n", error.what());
        return 1;
    }
}
