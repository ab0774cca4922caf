#include <iostream>

#include "NimbeApp/ShellModule.h"
#include "NimbeLoader/Uncaught.h"
#include "NimbeShell/CommandLine.h"
#include "ShellWiring.h"

namespace nimbe {
namespace {

class LinuxShell final : public ShellModule {
public:
    int run(int argc, const char* const* argv) override {
        std::ios::sync_with_stdio(false);
        return reportingUncaught([&] {
            const auto services = makeShellServices();
            return runCommandLine(argc, argv, *services, {std::cin, std::cout, std::cerr});
        });
    }
};

} // namespace
} // namespace nimbe

extern "C" __attribute__((visibility("default"))) nimbe::ShellModule* nimbeShellModule() {
    static nimbe::LinuxShell shell;
    return &shell;
}
