#include <cstdio>
#include <exception>
#include <iostream>

#include "NimbeShell/CommandLine.h"

int main(int argc, char** argv) {
    std::ios::sync_with_stdio(false);
    try {
        return nimbe::runCommandLine(argc, argv, {std::cin, std::cout, std::cerr});
    } catch (const std::exception& error) {
        // Memory ran out, most likely.
        std::fprintf(stderr, "nimbe: %s\n", error.what());
        return 1;
    }
}
