#include "NimbeShell/SettingsVerbs.h"

#include <CLI/CLI.hpp>

#include "NimbeShell/ShellServices.h"

namespace nimbe {
namespace {

constexpr const char* footer =
    "A bool is on or off (also true, false, yes, no), a list takes several values. A\n"
    "value that begins with a dash goes after --.\n"
    "Exit codes: 0 done, 1 not done (the settings cannot be read or written), 2 wrong\n"
    "usage (no such setting, a value that it does not take).";

} // namespace

SettingsVerbs::SettingsVerbs(CLI::App& parent)
    : settings(*parent.add_subcommand("settings", "List and change the settings")) {
    using Verb = SettingsOptions::Verb;
    settings.require_subcommand(1);
    settings.footer(footer);
    add("list", Verb::list, "List all settings with their values");
    addKey(add("get", Verb::get, "Print the value of a setting"));
    auto* set = add("set", Verb::set, "Store a value");
    addKey(set);
    set->add_option("VALUE", options.values, "One, of a list several")->required();
    addKey(add("reset", Verb::reset, "Go back to the default"));
}

CLI::App* SettingsVerbs::add(const char* name, SettingsOptions::Verb verb, const char* text) {
    auto* app = settings.add_subcommand(name, text);
    app->add_flag("--json", options.isJson, "Write JSON");
    app->callback([this, verb] { options.verb = verb; });
    return app;
}

void SettingsVerbs::addKey(CLI::App* verb) {
    verb->add_option("KEY", options.key, "One that list shows")->required();
}

bool SettingsVerbs::isParsed() const {
    return settings.parsed();
}

int SettingsVerbs::run(ShellServices& services, Streams streams) const {
    auto* const defaults = services.settings(streams.error);
    return defaults ? runSettings(options, *defaults, streams) : ExitCode::failure;
}

} // namespace nimbe
