#include "NimbeShell/ModelsCommand.h"

#include <algorithm>
#include <array>
#include <ostream>

#include "Foundation/Json.h"
#include "Foundation/Text.h"

namespace nimbe {
namespace {

/// Decimal units, rounded.
std::string sizeText(std::uint64_t bytes) {
    constexpr std::array units{"bytes", "kB", "MB", "GB"};
    std::size_t unit = 0;
    std::uint64_t one = 1;
    // Rounded: 999,500 bytes are a megabyte.
    while (unit + 1 < units.size() && (bytes + one / 2) / one >= 1000) {
        one *= 1000;
        ++unit;
    }
    return std::to_string((bytes + one / 2) / one) + " " + units.at(unit);
}

using Kind = SpeechModelError::Kind;
using Outcome = Result<void, SpeechModelError>;
using Verb = ModelsOptions::Verb;

/// One run of a verb.
class ModelsCommand {
public:
    ModelsCommand(const ModelsOptions& options, const ModelServices& services, Streams streams)
        : options(options), services(services), streams(streams) {}

    [[nodiscard]] int run();

private:
    const ModelsOptions& options;
    const ModelServices& services;
    Streams streams;
    std::vector<const SpeechModel*> named;

    [[nodiscard]] int list();
    [[nodiscard]] int status();
    [[nodiscard]] int install();
    [[nodiscard]] int remove();
    [[nodiscard]] int verify();

    /// False, with a message, when there is no model of a name.
    [[nodiscard]] bool findNamed();
    [[nodiscard]] Outcome installFrom(const SpeechModel& model, const std::string& address);
    void rememberAddress();
    [[nodiscard]] Outcome wait(Task<Outcome> work);

    [[nodiscard]] std::string state(const SpeechModel& model);
    [[nodiscard]] Json encoded(const SpeechModel& model);
    void write(const Json& json) { streams.output << json.text(Json::Layout::pretty) << "\n"; }

    void say(const std::string& message);
    void say(const SpeechModel& model, const SpeechModelError& error);
    [[nodiscard]] int ended();
};

Task<void> keep(Task<Outcome> work, Outcome& outcome) {
    outcome = co_await work;
}

std::string idOf(const SpeechModel& model) {
    return std::string(model.id);
}

void ModelsCommand::say(const std::string& message) {
    streams.output.flush();
    streams.error << "nimbe models: " << message << "\n";
}

/// With what to do about it, where the message does not say that already.
void ModelsCommand::say(const SpeechModel& model, const SpeechModelError& error) {
    auto message = idOf(model) + ": " + error.message();
    if (error.kind == Kind::wrongContent && !error.file.empty())
        message += " It is " + error.file + ".";
    if (error.kind == Kind::noAddress) message += " Name one with --from ADDRESS.";
    say(message);
}

int ModelsCommand::ended() {
    if (streams.output.flush()) return ExitCode::success;
    say("The output cannot be written.");
    return ExitCode::failure;
}

Outcome ModelsCommand::wait(Task<Outcome> work) {
    Outcome outcome;
    services.loop.runUntilDone(keep(std::move(work), outcome));
    return outcome;
}

bool ModelsCommand::findNamed() {
    for (const auto& id : options.models) {
        const auto* model = SpeechModel::named(id);
        if (model) {
            named.push_back(model);
            continue;
        }
        std::string known;
        for (const auto& other : SpeechModel::all()) known += " " + idOf(other);
        say("There is no speech model \"" + id + "\". There are:" + known + ".");
        return false;
    }
    return true;
}

int ModelsCommand::run() {
    if (!findNamed()) return ExitCode::usage;
    switch (options.verb) {
    case Verb::list: return list();
    case Verb::status: return status();
    case Verb::install: return install();
    case Verb::remove: return remove();
    case Verb::verify: return verify();
    }
    return ExitCode::usage;
}

std::string ModelsCommand::state(const SpeechModel& model) {
    if (const auto place = services.models.installed(model))
        return place->isPackaged ? "part of Nimbe" : "installed";
    const auto partial = services.models.downloaded(model);
    return partial == 0 ? "not installed" : "not installed, " + sizeText(partial) + " downloaded";
}

Json ModelsCommand::encoded(const SpeechModel& model) {
    const auto place = services.models.installed(model);
    const char* state = !place ? "notInstalled" : place->isPackaged ? "packaged" : "installed";
    Json::Object object;
    object.push_back({"id", Json(model.id)});
    object.push_back({"title", Json(model.title)});
    object.push_back({"locale", Json(model.locale)});
    object.push_back({"bytes", Json::integer(static_cast<std::int64_t>(model.bytes()))});
    object.push_back({"state", Json(state)});
    object.push_back({"isDefault", Json(model.id == SpeechModel::defaultID)});
    if (place)
        object.push_back({"folder", Json(text::mended(place->folder.string()))});
    else
        object.push_back({"downloadedBytes",
            Json::integer(static_cast<std::int64_t>(services.models.downloaded(model)))});
    return Json(std::move(object));
}

int ModelsCommand::list() {
    if (options.isJson) {
        Json::Array models;
        for (const auto& model : SpeechModel::all()) models.push_back(encoded(model));
        write(Json(std::move(models)));
        return ended();
    }
    constexpr std::size_t idLength = 6;
    constexpr std::size_t titleLength = 26;
    constexpr std::size_t sizeLength = 7;
    for (const auto& model : SpeechModel::all())
        streams.output << text::padded(idOf(model), idLength)
                       << text::padded(std::string(model.title), titleLength)
                       << text::padded(sizeText(model.bytes()), sizeLength) << state(model)
                       << (model.id == SpeechModel::defaultID ? " (default)" : "") << "\n";
    return ended();
}

int ModelsCommand::status() {
    const bool isOne = !named.empty();
    if (!isOne)
        for (const auto& model : SpeechModel::all()) named.push_back(&model);
    Json::Array models;
    const char* gap = "";
    for (const auto* model : named) {
        if (options.isJson) {
            models.push_back(encoded(*model));
            continue;
        }
        const auto place = services.models.installed(*model);
        streams.output << gap << model->id << ": " << model->title
                       << "\n  Size:   " << sizeText(model->bytes())
                       << "\n  State:  " << state(*model) << (place ? ", all files are there" : "")
                       << "\n";
        if (place) streams.output << "  Folder: " << text::mended(place->folder.string()) << "\n";
        gap = "\n";
    }
    if (options.isJson) write(isOne ? models.front() : Json(std::move(models)));
    return ended();
}

Outcome ModelsCommand::installFrom(const SpeechModel& model, const std::string& address) {
    const auto form = options.isJson ? ProgressBar::Form::none : services.progress;
    ProgressBar bar(streams.error, idOf(model), form, services.columns);
    return wait(services.models.install(model, address, [&](SpeechModels::Progress now) {
        const auto done = std::min(now.done, now.total);
        if (now.total > 0)
            bar.show(static_cast<double>(done) / static_cast<double>(now.total),
                sizeText(done) + " of " + sizeText(now.total));
    }));
}

int ModelsCommand::install() {
    const auto& model = *named.front();
    const auto place = services.models.installed(model);
    const bool wasThere = place && (!place->isPackaged || options.address.empty());
    const auto address =
        options.address.empty() ? services.defaults.get(speechModelBaseAddress) : options.address;
    const auto outcome = wasThere ? Outcome() : installFrom(model, address);
    if (!outcome) {
        say(model, outcome.error());
        const bool isOption = outcome.error().kind == Kind::badAddress && !options.address.empty();
        return isOption ? ExitCode::usage : ExitCode::failure;
    }
    if (!wasThere) rememberAddress();
    if (options.isJson)
        write(encoded(model));
    else if (!wasThere)
        streams.output << "Installed: " << model.id << "\n";
    else
        streams.output << model.id << " is there already: " << state(model) << ".\n";
    return ended();
}

/// Only one that has proved right.
void ModelsCommand::rememberAddress() {
    // A password does not belong into the settings.
    if (options.address.empty() || options.address.find('@') != std::string::npos) return;
    if (services.defaults.get(speechModelBaseAddress) == options.address) return;
    if (!services.defaults.set(speechModelBaseAddress, options.address))
        say("The address could not be kept: name it again next time.");
}

int ModelsCommand::remove() {
    const auto& model = *named.front();
    const auto outcome = services.models.remove(model);
    if (!outcome) {
        say(model, outcome.error());
        return ExitCode::failure;
    }
    if (options.isJson)
        write(encoded(model));
    else
        streams.output << "Removed: " << model.id << "\n";
    return ended();
}

int ModelsCommand::verify() {
    const bool isAll = named.empty();
    if (isAll)
        for (const auto& model : SpeechModel::all()) named.push_back(&model);
    Json::Array results;
    bool isRight = true;
    bool isWrong = false; // as against not there
    for (const auto* model : named) {
        const auto outcome = wait(services.models.verify(*model));
        const bool isAbsent = !outcome && outcome.error().kind == Kind::notInstalled;
        // One that nobody installed; the default must be there.
        if (isAll && isAbsent && model->id != SpeechModel::defaultID) continue;
        isWrong = isWrong || (!outcome && !isAbsent);
        isRight = isRight && outcome;
        Json::Object result;
        result.push_back({"id", Json(model->id)});
        result.push_back({"isRight", Json(outcome.has_value())});
        if (!outcome) {
            say(*model, outcome.error());
            if (!outcome.error().file.empty())
                result.push_back({"file", Json(outcome.error().file)});
        } else if (!options.isJson) {
            streams.output << model->id << ": all files are as they should be.\n";
        }
        results.emplace_back(std::move(result));
    }
    if (options.isJson) write(Json(std::move(results)));
    if (isWrong && !options.isJson)
        streams.error << "A copy in its place: nimbe models install MODEL --from ADDRESS, after\n"
                         "nimbe models remove MODEL where the damaged one is a copy already.\n";
    const int code = ended();
    return isRight ? code : ExitCode::failure;
}

} // namespace

int runModels(const ModelsOptions& options, const ModelServices& services, Streams streams) {
    return ModelsCommand(options, services, streams).run();
}

} // namespace nimbe
