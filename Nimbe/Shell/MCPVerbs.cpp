#include "NimbeShell/MCPVerbs.h"

#include <optional>
#include <ostream>
#include <system_error>

#include <CLI/CLI.hpp>

#include "Foundation/Json.h"
#include "Foundation/Text.h"
#include "NimbeApp/MCPRegistration.h"
#include "NimbeShell/ShellServices.h"

namespace nimbe {
namespace {

constexpr const char* footer =
    "install enters Nimbe into Claude Desktop's configuration, remove takes it out;\n"
    "everything else in it keeps its value. command prints what connects a client that\n"
    "is told so in the shell. What a client can read then: docs/mcp.md.\n"
    "With --json an object: \"configFile\", \"registered\" (with this program), \"command\"\n"
    "(which the client starts as Nimbe, or null), \"commandExists\" (null when it is no\n"
    "absolute path); for command \"command\" alone.\n"
    "Exit codes: 0 done, 1 the configuration cannot be read or written, 2 wrong usage.";

/// As a terminal may show it.
std::string shown(const std::string& text) {
    constexpr std::size_t most = 4096; // the longest path
    return text::onOneLine(text, most);
}

std::string shown(const std::filesystem::path& path) {
    return shown(path.string());
}

/// Absent: nobody knows where a client would look for it.
std::optional<bool> doesExist(const MCPRegistration::State& state) {
    if (!state.command || !state.command->starts_with('/')) return std::nullopt;
    std::error_code error;
    return std::filesystem::is_regular_file(*state.command, error);
}

Json json(const MCPRegistration& registration, const MCPRegistration::State& state) {
    const auto exists = doesExist(state);
    Json::Object object;
    const auto file = registration.place().configFile.string();
    object.push_back({"configFile", text::isValidUtf8(file) ? Json(file) : Json()});
    object.push_back({"registered", Json(state.isThisProgram)});
    object.push_back({"command", state.command ? Json(*state.command) : Json()});
    object.push_back({"commandExists", exists ? Json(*exists) : Json()});
    return Json(std::move(object));
}

std::string lines(const MCPRegistration& registration, const MCPRegistration::State& state) {
    std::string text = "Config file: " + shown(registration.place().configFile) + "\n";
    if (!state.command) return text + "Registered: no\n";
    text += state.isThisProgram ? "Registered: yes\n" : "Registered: no, another program is\n";
    text += "Command: " + shown(*state.command);
    return text + (doesExist(state) == false ? " (is not there)\n" : "\n");
}

int fail(Streams streams, const MCPRegistration::Problem& problem) {
    streams.error << "nimbe mcp: " << shown(problem.message) << "\n" << problem.reason << "\n";
    return ExitCode::failure;
}

} // namespace

MCPVerbs::MCPVerbs(CLI::App& parent)
    : mcp(*parent.add_subcommand("mcp", "Let AI clients read the dictations")) {
    mcp.require_subcommand(1);
    mcp.footer(footer);
    add("install", Verb::install, "Connect Claude Desktop");
    add("remove", Verb::remove, "Disconnect it");
    add("status", Verb::status, "Tell whether it is connected, and how");
    add("command", Verb::command, "Print the command line for other clients");
}

void MCPVerbs::add(const char* name, Verb named, const char* text) {
    auto* app = mcp.add_subcommand(name, text);
    app->add_flag("--json", isJson, "Write JSON");
    app->callback([this, named] { verb = named; });
}

bool MCPVerbs::isParsed() const {
    return mcp.parsed();
}

int MCPVerbs::run(ShellServices& lent, Streams streams) const {
    const auto* const services = lent.mcp(streams.error);
    if (!services) return ExitCode::failure;
    auto& registration = services->registration;
    const auto config = shown(registration.place().configFile);
    const auto say = [&](const std::string& text) {
        if (!isJson) streams.output << text << "\n";
    };
    std::optional<MCPRegistration::Problem> problem;
    int exitCode = ExitCode::success;
    switch (verb) {
    case Verb::command: tellCommand(*services, streams); break;
    case Verb::status: exitCode = tellStatus(*services, streams); break;
    case Verb::install:
        problem = registration.install();
        if (problem) return fail(streams, *problem);
        say("Nimbe is entered in " + config +
            ".\nRestart Claude Desktop: it can read your "
            "dictations then.");
        if (services->isPortable)
            streams.error << "NIMBE_HOME is set: the client reads the dictations there only when "
                             "it is set for the client, too.\n";
        if (isJson) exitCode = tellStatus(*services, streams);
        break;
    case Verb::remove:
        problem = registration.remove();
        if (problem) return fail(streams, *problem);
        say("Nimbe is not in " + config + " any more.\nRestart Claude Desktop.");
        if (isJson) exitCode = tellStatus(*services, streams);
        break;
    }
    if (streams.output.flush()) return exitCode;
    streams.error << "nimbe mcp: The output cannot be written.\n";
    return ExitCode::failure;
}

int MCPVerbs::tellStatus(const MCPServices& services, Streams streams) const {
    const auto state = services.registration.state();
    if (!state) return fail(streams, state.error());
    if (isJson)
        streams.output << json(services.registration, *state).text(Json::Layout::pretty) << "\n";
    else
        streams.output << lines(services.registration, *state);
    return ExitCode::success;
}

void MCPVerbs::tellCommand(const MCPServices& services, Streams streams) const {
    const auto line = services.registration.commandLine();
    if (isJson) {
        Json object;
        object.set("command", text::isValidUtf8(line) ? Json(line) : Json());
        streams.output << object.text(Json::Layout::pretty) << "\n";
        return;
    }
    streams.output << line << "\n";
    const auto& program = services.registration.place().program.native();
    if (program.find_first_of(" \t\n\"'`$\\&;|<>()*?[]{}~#!") != program.npos)
        streams.error << "A shell takes the path for several words: put it in quotes.\n";
}

} // namespace nimbe
