#include "NimbeShell/ModelCommand.h"

#include <ostream>

#include "Foundation/Json.h"
#include "Foundation/Text.h"
#include "NimbeEngine/Cleanup/MacCleanupPolicy.h"
#include "NimbeEngine/Language/LanguageModelSettings.h"

namespace nimbe {
namespace {

using Availability = LanguageModel::Availability;
using Kind = Availability::Kind;
using Settings = LanguageModelSettings;

Task<void> keep(Task<Availability> asking, Availability& answer) {
    answer = co_await asking;
}

std::string_view nameOf(Kind kind) {
    switch (kind) {
    case Kind::unknown: return "unknown";
    case Kind::available: return "available";
    case Kind::notAllowed: return "notAllowed";
    case Kind::noServer: return "noServer";
    case Kind::notAServer: return "notAServer";
    case Kind::noModel: return "noModel";
    case Kind::loading: return "loading";
    case Kind::unresponsive: return "unresponsive";
    case Kind::refused: return "refused";
    }
    return {};
}

/// As a terminal may show it, whatever a server calls its models.
std::string shown(const std::string& text) {
    constexpr std::size_t most = 200; // characters: more is no name
    return text::onOneLine(text, most);
}

/// One run of a verb.
class ModelCommand {
public:
    ModelCommand(const ModelOptions& options, const LanguageServices& services, Streams streams)
        : options(options), services(services), streams(streams),
          setAddress(services.defaults.get(Settings::address)),
          setName(services.defaults.get(Settings::name)) {}

    [[nodiscard]] int run() {
        services.loop.runUntilDone(keep(services.model.check(), found));
        if (options.verb == ModelOptions::Verb::list)
            list();
        else
            status();
        if (!streams.output.flush()) {
            streams.error << "nimbe model: The output cannot be written.\n";
            return ExitCode::failure;
        }
        return found.isAvailable() ? ExitCode::success : ExitCode::failure;
    }

private:
    const ModelOptions& options;
    const LanguageServices& services;
    Streams streams;
    std::string setAddress;
    std::string setName;
    Availability found;

    void list() {
        if (options.isJson) {
            streams.output << names().text(Json::Layout::pretty) << "\n";
        } else {
            for (const auto& model : found.models)
                streams.output << (model == found.model && found.isAvailable() ? "* " : "  ")
                               << shown(model) << "\n";
        }
        streams.output.flush();
        if (!found.isAvailable())
            streams.error << "nimbe model: " << shown(found.message()) << "\n" << advice();
    }

    void status() {
        if (options.isJson) {
            streams.output << json().text(Json::Layout::pretty) << "\n";
            return;
        }
        streams.output << (found.isAvailable() ? "Ready: " : "") << shown(found.message()) << "\n"
                       << advice();
        const auto line = [&](const char* what, const std::string& value) {
            if (!value.empty())
                streams.output << text::padded(std::string(what) + ":", 16) << value << "\n";
        };
        line("Address", address());
        line("Server", shown(found.server));
        line("Model", model());
        line("Its models", list(found.models));
        line("Detail", shown(found.detail));
        line("AI cleanup", isCleanupOn()
                               ? "on"
                               : "off; turn it on with: nimbe settings set " +
                                     std::string(MacCleanupPolicy::aiCleanupEnabled.key) + " on");
        line("Deadline", seconds() + " s for a dictation");
        line("Other machines", allowsOthers() ? "asked" : "never asked");
    }

    [[nodiscard]] std::string address() const {
        if (!setAddress.empty()) return shown(setAddress) + " (languageModelAddress)";
        if (found.address.empty()) return "none is set; the usual ports of this machine were tried";
        return shown(found.address) + " (found)";
    }
    [[nodiscard]] std::string model() const {
        if (!setName.empty()) return shown(setName) + " (languageModelName)";
        return found.model.empty() ? "" : shown(found.model) + " (the server's)";
    }
    [[nodiscard]] static std::string list(const std::vector<std::string>& names) {
        std::string all;
        for (const auto& name : names) all += (all.empty() ? "" : ", ") + shown(name);
        return all;
    }
    [[nodiscard]] bool isCleanupOn() const {
        return services.defaults.get(MacCleanupPolicy::aiCleanupEnabled);
    }
    [[nodiscard]] bool allowsOthers() const {
        return services.defaults.get(Settings::allowsOtherHosts);
    }
    [[nodiscard]] std::string seconds() const {
        return std::to_string(static_cast<int>(Settings::deadlineIn(services.defaults)));
    }

    /// What to do about it: lines, or none.
    [[nodiscard]] std::string advice() const {
        const std::string settings = "nimbe settings ";
        switch (found.kind) {
        case Kind::unknown:
        case Kind::available: return "";
        case Kind::notAllowed:
            return "What you dictate would leave this machine. If you want that:\n  " + settings +
                   "set languageModelAllowsOtherHosts on\n";
        case Kind::noServer:
            if (setAddress.empty())
                return "Start Ollama, LM Studio or llama-server. If one runs on another port:\n  " +
                       settings + "set languageModelAddress http://127.0.0.1:PORT\n";
            [[fallthrough]];
        case Kind::notAServer:
            return "Start the server there, or name another, or have this machine searched:\n  " +
                   settings + "set languageModelAddress ADDRESS\n  " + settings +
                   "reset languageModelAddress\n";
        case Kind::noModel:
            if (found.models.empty()) return "Have the server get one first.\n";
            return "It has: " + list(found.models) + "\nTo use one of them:\n  " + settings +
                   "set languageModelName NAME\n";
        case Kind::loading: return "Ask again in a while.\n";
        case Kind::unresponsive:
            return "A smaller model answers sooner, and a dictation can wait longer:\n  " +
                   settings + "set languageModelDeadline SECONDS\n";
        case Kind::refused:
            return "The server's own log tells more. If it asks for a key: Nimbe has none to "
                   "give; start it without one.\n";
        }
        return "";
    }

    [[nodiscard]] Json names() const {
        Json::Array all;
        for (const auto& name : found.models) all.emplace_back(name);
        return Json(std::move(all));
    }
    [[nodiscard]] Json json() const {
        Json::Object object;
        const auto add = [&](const char* key, Json value) {
            object.push_back({key, std::move(value)});
        };
        const auto textOrNull = [](const std::string& text) {
            return text.empty() ? Json() : Json(text);
        };
        add("state", Json(nameOf(found.kind)));
        add("isAvailable", Json(found.isAvailable()));
        add("message", Json(found.message()));
        add("address", textOrNull(setAddress.empty() ? found.address : setAddress));
        add("isAddressSet", Json(!setAddress.empty()));
        add("server", textOrNull(found.server));
        add("model", textOrNull(found.model));
        add("isModelSet", Json(!setName.empty()));
        add("models", names());
        add("detail", textOrNull(found.detail));
        add("isCleanupOn", Json(isCleanupOn()));
        add("deadline",
            Json::integer(static_cast<std::int64_t>(Settings::deadlineIn(services.defaults))));
        add("allowsOtherHosts", Json(allowsOthers()));
        return Json(std::move(object));
    }
};

} // namespace

int runModel(const ModelOptions& options, const LanguageServices& services, Streams streams) {
    return ModelCommand(options, services, streams).run();
}

} // namespace nimbe
