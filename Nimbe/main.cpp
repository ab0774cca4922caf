#include <cstdio>
#include <exception>
#include <iostream>

#include "NimbeShell/CommandLine.h"
#include "ShellWiring.h"

int main(int argc, char** argv) {
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
