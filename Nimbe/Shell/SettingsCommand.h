#pragma once

#include <string>
#include <vector>

#include "Foundation/UserDefaults.h"
#include "NimbeShell/CommandLine.h"

namespace nimbe {

struct SettingsOptions {
    enum class Verb { list, get, set, reset };
    Verb verb = Verb::list;
    std::string key = {};
    std::vector<std::string> values = {};
    bool isJson = false;
};

/// Lists, tells and changes what PublicSetting names.
[[nodiscard]] int runSettings(
    const SettingsOptions& options, UserDefaults& defaults, Streams streams);

} // namespace nimbe
