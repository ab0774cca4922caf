#include "NimbeShell/RemoteVerbs.h"

#include <array>
#include <ostream>
#include <vector>

#include <CLI/CLI.hpp>

#include "Foundation/Json.h"
#include "Foundation/Text.h"
#include "NimbeShell/ShellServices.h"

namespace nimbe {
namespace {

/// A verb that asks for one thing that can be refused.
struct Order {
    const char* verb;
    const char* help;
    RemoteInstance::Command command;
    const char* refusal;
};

constexpr std::array<Order, 4> orders{{
    {"toggle", "Begin a dictation, or end the one that goes on", RemoteInstance::Command::toggle,
        "Not now: a text is being finished."},
    {"start", "Begin a dictation, hands-free", RemoteInstance::Command::start,
        "Not now: a dictation goes on already, or its text is being finished."},
    {"stop", "End the dictation and insert its text", RemoteInstance::Command::stop,
        "Nothing is being dictated."},
    {"cancel", "End the dictation without its text", RemoteInstance::Command::cancel,
        "Nothing is being dictated."},
}};

constexpr const char* orderFooter =
    "For a shortcut of the desktop or a script: the application has to run.\n"
    "Exit codes: 0 done, 1 not now, or Nimbe is not running, 2 wrong usage.";

/// As a terminal may show it, whatever other programs call themselves.
std::string shown(const std::string& text) {
    constexpr std::size_t most = 200; // characters: more is no name
    return text::onOneLine(text, most);
}

std::string sentence(const RemoteStatus& status) {
    const auto about = [&](const char* doing) {
        std::string line = doing;
        if (status.target) line += " for " + shown(*status.target);
        if (status.isLatched) line += ", hands-free";
        return line + ".";
    };
    if (status.phase == "idle") return "Ready.";
    if (status.phase == "preparing") return about("Starting to listen");
    if (status.phase == "recording") return about("Listening");
    if (status.phase == "finalizing") return about("Finishing the text");
    if (status.message) return shown(*status.message);
    return about(status.phase == "done" ? "Done" : "Unavailable");
}

Json json(const RemoteStatus& status) {
    const auto textOrNull = [](const std::optional<std::string>& text) {
        return text ? Json(*text) : Json();
    };
    Json::Object object;
    object.push_back({"phase", Json(status.phase)});
    object.push_back({"message", textOrNull(status.message)});
    object.push_back({"target", textOrNull(status.target)});
    object.push_back({"latched", Json(status.isLatched)});
    return Json(std::move(object));
}

int fail(Streams streams, std::string_view verb, std::string_view message) {
    streams.error << "nimbe " << verb << ": " << message << "\n";
    return ExitCode::failure;
}

} // namespace

struct RemoteVerbs::Verbs {
    std::vector<CLI::App*> orders; // in their order
    CLI::App* status = nullptr;
    CLI::App* quit = nullptr;
    bool isJson = false;

    [[nodiscard]] const CLI::App* parsed() const {
        for (const auto* verb : orders)
            if (verb->parsed()) return verb;
        if (status->parsed()) return status;
        return quit->parsed() ? quit : nullptr;
    }
};

RemoteVerbs::RemoteVerbs(CLI::App& app) : verbs(std::make_unique<Verbs>()) {
    for (const auto& order : orders) {
        verbs->orders.push_back(app.add_subcommand(order.verb, order.help));
        verbs->orders.back()->footer(orderFooter);
    }
    verbs->status = app.add_subcommand("status", "Tell what the application is doing");
    verbs->status->add_flag("--json", verbs->isJson, "Write JSON");
    verbs->status->footer(
        "With --json an object: \"phase\" is idle, preparing, recording, finalizing,\n"
        "done or unavailable; \"target\" is the application that the text is for,\n"
        "\"latched\" whether it listens hands-free. What was said is not told.\n"
        "Exit codes: 0 told, 1 Nimbe is not running, 2 wrong usage.");
    verbs->quit = app.add_subcommand("quit", "End the application");
    verbs->quit->footer(
        "Returns when the application has been asked; it ends by itself soon after.\n"
        "Exit codes: 0 asked, 1 Nimbe is not running, 2 wrong usage.");
}

RemoteVerbs::~RemoteVerbs() = default;

bool RemoteVerbs::isParsed() const {
    return verbs->parsed() != nullptr;
}

std::string RemoteVerbs::usage() const {
    const std::string name = verbs->parsed()->get_name();
    return "Usage: nimbe " + name + (name == "status" ? " [--json]" : "") + "\nnimbe " + name +
           " --help tells more.\n";
}

int RemoteVerbs::run(ShellServices& services, Streams streams) const {
    auto& remote = services.remote();
    for (std::size_t i = 0; i < orders.size(); ++i) {
        if (!verbs->orders.at(i)->parsed()) continue;
        const auto& order = orders.at(i);
        const auto answer = remote.ask(order.command);
        if (!answer) return fail(streams, order.verb, answer.error().message());
        return *answer ? ExitCode::success : fail(streams, order.verb, order.refusal);
    }
    if (verbs->quit->parsed()) {
        const auto answer = remote.quit();
        return answer ? ExitCode::success : fail(streams, "quit", answer.error().message());
    }
    const auto status = remote.status();
    if (!status) return fail(streams, "status", status.error().message());
    streams.output << (verbs->isJson ? json(*status).text(Json::Layout::pretty) : sentence(*status))
                   << "\n";
    streams.output.flush();
    return streams.output ? ExitCode::success
                          : fail(streams, "status", "The output cannot be written.");
}

} // namespace nimbe
