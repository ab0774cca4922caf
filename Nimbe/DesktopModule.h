#pragma once

#include "NimbeApp/HearingModule.h"
#include "NimbeApp/LaunchOptions.h"

namespace nimbe {

/// The application on the desktop, with the toolkit and the adapters that it needs. It
/// stands in a library of its own, which only the application loads.
class DesktopModule {
public:
    struct Launch {
        int& argc; // the toolkit takes its own options out
        char** argv;
        LaunchOptions options;
        HearingModule& hearing;
    };

    virtual ~DesktopModule() = default;

    /// Until the user quits; the exit status.
    [[nodiscard]] virtual int run(const Launch& launch) = 0;
};

} // namespace nimbe
