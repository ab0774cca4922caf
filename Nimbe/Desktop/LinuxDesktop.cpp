#include <cstdlib>
#include <iostream>

#include "DesktopApp.h"
#include "NimbeApp/DesktopModule.h"
#include "PlatformStorage/DataFolders.h"

namespace nimbe {
namespace {

class LinuxDesktop final : public DesktopModule {
public:
    int run(const Launch& launch) override {
        const char* display = std::getenv("DISPLAY");
        if (!display || !*display) {
            std::cerr << "nimbe: There is no X11 display here, which the application needs.\n"
                         "nimbe --help lists what works without one.\n";
            return EXIT_FAILURE;
        }
        auto folders = DataFolders::find();
        if (!folders) {
            std::cerr << "nimbe: There is no place for your data: HOME names no absolute path.\n";
            return EXIT_FAILURE;
        }
        return runDesktopApp(launch, std::move(*folders));
    }
};

} // namespace
} // namespace nimbe

extern "C" __attribute__((visibility("default"))) nimbe::DesktopModule* nimbeDesktopModule() {
    static nimbe::LinuxDesktop desktop;
    return &desktop;
}
