#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <string>
#include <vector>

#include "NimbeApp/DesktopModule.h"
#include "NimbeApp/MacEntryPoint.h"
#include "NimbeApp/ShellModule.h"
#include "NimbeLoader/ModuleLoader.h"
#include "NimbeLoader/Uncaught.h"
#include "NimbeMCPMode/MCPMode.h"

namespace nimbe {
namespace {

/// A standard stream that is closed would become whichever file is opened first. In its
/// place something that fails as a closed one would.
void fillStandardStreams() {
    for (int stream = 0; stream <= 2; ++stream)
        if (::fcntl(stream, F_GETFD) == -1 && errno == EBADF)
            (void)::open("/dev/null", stream == 0 ? O_WRONLY : O_RDONLY);
}

int cannotBeLoaded(const char* what, const std::string& why) {
    std::fprintf(stderr, "nimbe: %s cannot be loaded: %s\n", what, why.c_str());
    return 1;
}

int runApp(int argc, char** argv, const LaunchOptions& options) {
    const auto hearing = loadModule<HearingModule>("libnimbe-hearing.so", "nimbeHearingModule");
    if (!hearing) return cannotBeLoaded("What Nimbe hears with", hearing.error());
    const auto desktop = loadModule<DesktopModule>("libnimbe-desktop.so", "nimbeDesktopModule");
    if (!desktop) return cannotBeLoaded("The application", desktop.error());
    return (*desktop)->run({argc, argv, options, **hearing});
}

int runShell(const char* program, const std::vector<std::string>& arguments) {
    const auto shell = loadModule<ShellModule>("libnimbe-shell.so", "nimbeShellModule");
    if (!shell) return cannotBeLoaded("The command line", shell.error());
    std::vector<const char*> words{program};
    for (const auto& argument : arguments) words.push_back(argument.c_str());
    return (*shell)->run(static_cast<int>(words.size()), words.data());
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
    return nimbe::reportingUncaught([&] { return nimbe::run(argc, argv); });
}
