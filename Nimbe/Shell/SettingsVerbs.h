#pragma once

#include <memory>

#include "NimbeShell/SettingsCommand.h"

namespace CLI {
class App;
}

namespace nimbe {

class ShellServices;

/// The verb for the settings and its own verbs on the command line.
class SettingsVerbs {
public:
    explicit SettingsVerbs(CLI::App& parent);
    SettingsVerbs(const SettingsVerbs&) = delete;
    SettingsVerbs& operator=(const SettingsVerbs&) = delete;

    [[nodiscard]] const CLI::App* app() const { return &settings; }
    [[nodiscard]] bool isParsed() const;
    [[nodiscard]] int run(ShellServices& services, Streams streams) const;

private:
    CLI::App& settings; // the parent's
    SettingsOptions options;

    CLI::App* add(const char* name, SettingsOptions::Verb verb, const char* text);
    void addKey(CLI::App* verb);
};

} // namespace nimbe
