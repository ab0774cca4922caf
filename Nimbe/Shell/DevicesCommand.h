#pragma once

#include <optional>
#include <string>

#include "Foundation/RunLoop.h"
#include "Foundation/UserDefaults.h"
#include "NimbeEngine/Audio/AudioInput.h"
#include "NimbeShell/CommandLine.h"

namespace nimbe {

struct DevicesOptions {
    std::optional<std::string> chosen = {}; // to be used from now on
    bool isJson = false;
};

/// What the verb works on.
struct DevicesServices {
    AudioInput& input;
    UserDefaults& defaults;
    RunLoop& loop;
};

/// Lists the microphones, the chosen one marked.
[[nodiscard]] int runDevices(
    const DevicesOptions& options, const DevicesServices& services, Streams streams);

} // namespace nimbe
