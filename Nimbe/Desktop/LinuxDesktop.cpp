#include <cstdlib>
#include <iostream>
#include <string_view>

#include "DesktopApp.h"
#include "NimbeApp/DesktopModule.h"
#include "NimbeLoader/Uncaught.h"
#include "PlatformStorage/DataFolders.h"

namespace nimbe {
namespace {

class LinuxDesktop final : public DesktopModule {
public:
    int run(const Launch& launch) override {
        return reportingUncaught([&] { return start(launch); });
    }

private:
    static int start(const Launch& launch) {
        const char* display = std::getenv("DISPLAY");
        if (!display || !*display) {
            std::cerr << "nimbe: There is no X11 display here, which the application needs.\n"
                         "nimbe --help lists what works without one.\n";
            return EXIT_FAILURE;
        }
        const char* session = std::getenv("XDG_SESSION_TYPE");
        if (session && std::string_view(session) == "wayland")
            std::cerr << "nimbe: In this Wayland session only the windows of X11 programs are "
                         "within reach.\nnimbe: Let a shortcut of the desktop run \"nimbe "
                         "toggle\"; the text is then on the clipboard.\n";
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
