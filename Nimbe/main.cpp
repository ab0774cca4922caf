#include <cerrno>
#include <cstdio>
#include <exception>
#include <fcntl.h>
#include <iostream>

#include "NimbeShell/CommandLine.h"
#include "ShellWiring.h"

namespace {

/// A standard stream that is closed would become whichever file is opened first. In its
/// place something that fails as a closed one would.
void fillStandardStreams() {
    for (int stream = 0; stream <= 2; ++stream)
        if (::fcntl(stream, F_GETFD) == -1 && errno == EBADF)
            (void)::open("/dev/null", stream == 0 ? O_WRONLY : O_RDONLY);
}

} // namespace

int main(int argc, char** argv) {
    fillStandardStreams();
    std::ios::sync_with_stdio(false);
    try {
        const auto services = nimbe::makeShellServices();
        return nimbe::runCommandLine(argc, argv, *services, {std::cin, std::cout, std::cerr});
    } catch (const std::exception& error) {
        // Memory ran out, most likely.
        std::fprintf(stderr, "nimbe: %s\n", error.what());
        return 1;
    }
}
