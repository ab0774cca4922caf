#include "PlatformModels/SpeechModelStore.h"

#include <algorithm>
#include <cctype>
#include <utility>

#include "PlatformModels/FileDigest.h"
#include "PlatformModels/SpeechModelDownload.h"

namespace nimbe {
namespace {

namespace fs = std::filesystem;
using Kind = SpeechModelError::Kind;
using Outcome = Result<void, SpeechModelError>;

/// Tells of the progress while it lives, at most twenty times a second.
class ProgressTeller {
public:
    using Progress = SpeechModels::Progress;

    ProgressTeller(MainActor& actor, std::shared_ptr<ModelMeter> meter, std::uint64_t total,
        std::function<void(Progress)> onProgress)
        : state(std::make_shared<State>(
              State{actor, std::move(meter), total, std::move(onProgress), {}, {}})) {
        scheduleNext(state, 0);
    }

    /// What is still untold, at the end.
    void tellNow() { tell(state); }

private:
    static constexpr Seconds pause = 0.05;
    struct State {
        MainActor& actor;
        std::shared_ptr<ModelMeter> meter;
        std::uint64_t total;
        std::function<void(Progress)> onProgress;
        std::optional<std::uint64_t> told;
        Token next;
    };
    std::shared_ptr<State> state;

    static void scheduleNext(const std::shared_ptr<State>& state, Seconds delay) {
        std::weak_ptr<State> weak = state;
        state->next = state->actor.schedule(delay, [weak] {
            if (const auto told = weak.lock()) tell(told);
            // Whoever was told may have stopped the task.
            if (const auto alive = weak.lock(); alive) scheduleNext(alive, pause);
        });
    }
    static void tell(const std::shared_ptr<State>& state) {
        const std::uint64_t done = state->meter->done;
        if (state->told == done || !state->onProgress) return;
        state->told = done;
        state->onProgress({done, state->total});
    }
};

/// Without slashes at its end; absent when no file's name can be added to it.
std::optional<std::string> baseAddress(std::string address) {
    while (address.ends_with('/')) address.pop_back();
    const auto end = address.find("://");
    if (end == address.npos || end + 3 == address.size()) return std::nullopt;
    auto scheme = address.substr(0, end);
    for (char& c : scheme) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    const bool isWeb = scheme == "http" || scheme == "https";
    const bool isPlain = std::none_of(address.begin(), address.end(),
        [](char c) { return (c >= 0 && c <= ' ') || c == '?' || c == '#' || c == '\x7F'; });
    return isWeb && isPlain ? std::optional(std::move(address)) : std::nullopt;
}

/// A file that is missing or of another kind is as wrong as one with other bytes.
SpeechModelError readingError(std::error_code error, const SpeechModel::File& file) {
    const bool isGone = error == std::errc::no_such_file_or_directory ||
                        error == std::errc::is_a_directory || error == std::errc::not_a_directory;
    return {isGone ? Kind::wrongContent : Kind::failed, error.message(), std::string(file.name)};
}

Outcome verifyFiles(const fs::path& folder, const SpeechModel& model, const std::stop_token& stop) {
    for (const auto& file : model.files) {
        const auto digest = sha256OfFile(folder / file.name, stop);
        if (!digest) return failure(readingError(digest.error(), file));
        if (*digest != file.sha256)
            return failure(
                SpeechModelError{Kind::wrongContent, "its digest", std::string(file.name)});
    }
    return {};
}

} // namespace

struct SpeechModelStore::Core {
    Core(MainActor& actor, HttpClient& http, Folders folders, LogSink& sink, Options options)
        : actor(actor), http(http), folders(std::move(folders)), log(sink, "models"),
          options(options), background(actor) {}

    MainActor& actor;
    HttpClient& http;
    Folders folders;
    Log log;
    Options options;
    Background background;

    [[nodiscard]] ModelPlaces places(const SpeechModel& model) const {
        const std::string name(model.folder);
        return {folders.installed / name, folders.packaged / name,
            folders.installed / ("." + name + ".installing"),
            folders.installed / ("." + name + ".removed"),
            folders.installed / ("." + name + ".lock"), folders.downloads / name};
    }

    /// Says in the log what the message for the user leaves out.
    Outcome logged(const char* step, const SpeechModel& model, Outcome outcome) const {
        const std::string id(model.id);
        if (outcome)
            log.info("models: %s %s", id.c_str(), step);
        else
            log.error("models: %s not %s: %s%s%s", id.c_str(), step, outcome.error().file.c_str(),
                outcome.error().file.empty() ? "" : ": ", outcome.error().detail.c_str());
        return outcome;
    }

    [[nodiscard]] static Task<Outcome> install(std::shared_ptr<Core> core, SpeechModel model,
        std::string address, std::function<void(Progress)> onProgress);
    [[nodiscard]] static Task<Outcome> download(std::shared_ptr<Core> core, SpeechModel model,
        std::string address, ModelLock lock, std::function<void(Progress)> onProgress);
    [[nodiscard]] static Task<Outcome> verify(std::shared_ptr<Core> core, SpeechModel model);
    /// The lock, or none when the model turns out to be installed.
    [[nodiscard]] Task<Result<ModelLock, SpeechModelError>> prepare(const SpeechModel& model);
};

Task<Result<ModelLock, SpeechModelError>> SpeechModelStore::Core::prepare(
    const SpeechModel& model) {
    using Prepared = Result<ModelLock, SpeechModelError>;
    return background.run<Prepared>([places = places(model), model, spare = options.spareBytes](
                                        const std::stop_token& /*stop*/) -> Prepared {
        auto lock = ModelSwitch::begin(places);
        if (!lock) return places.hasOwn(model) ? Prepared(ModelLock()) : lock;
        ModelSwitch::cleanUp(places, model);
        if (places.hasOwn(model)) return ModelLock(); // by another process, meanwhile
        const auto room = ModelSwitch::checkSpace(places, model, spare);
        return room ? lock : Prepared(failure(room.error()));
    });
}

Task<Outcome> SpeechModelStore::Core::install(std::shared_ptr<Core> core, SpeechModel model,
    std::string address, std::function<void(Progress)> onProgress) {
    const auto places = core->places(model);
    if (places.hasOwn(model) && !places.hasLeftovers()) co_return Outcome();
    // The packaged one will do, unless a copy of the user's own is asked for.
    if (address.empty() && !places.hasOwn(model) && places.installed(model)) co_return Outcome();
    const auto base = baseAddress(address);
    const SpeechModelError noBase{address.empty() ? Kind::noAddress : Kind::badAddress};
    if (!base && !places.hasOwn(model)) co_return failure(noBase);
    auto preparing = core->prepare(model);
    const auto prepared = co_await preparing;
    if (!prepared) co_return core->logged("installed", model, failure(prepared.error()));
    if (!*prepared) co_return Outcome();
    if (!base) co_return failure(noBase); // it was installed a moment ago
    auto downloading = download(
        core, model, *base + "/" + std::string(model.folder), *prepared, std::move(onProgress));
    auto outcome = co_await downloading;
    co_return core->logged("installed", model, std::move(outcome));
}

Task<Outcome> SpeechModelStore::Core::download(std::shared_ptr<Core> core, SpeechModel model,
    std::string address, ModelLock lock, std::function<void(Progress)> onProgress) {
    const auto places = core->places(model);
    auto meter = std::make_shared<ModelMeter>();
    meter->done = places.downloaded(model);
    ProgressTeller teller(core->actor, meter, model.bytes(), std::move(onProgress));
    SpeechModelDownload::Deadlines deadlines;
    deadlines.connect = core->options.connectDeadline;
    deadlines.stall = core->options.stallDeadline;
    const auto steps = std::make_shared<SpeechModelDownload>(SpeechModelDownload{
        core->http, core->background, places, lock, std::move(address), deadlines, meter});
    for (const auto& file : model.files) {
        auto fetching = SpeechModelDownload::fetch(steps, file);
        auto fetched = co_await fetching;
        if (!fetched) co_return fetched;
    }
    auto publishing = core->background.run<Outcome>(
        [places, model, held = std::move(lock)](
            const std::stop_token& stop) { return ModelSwitch::publish(places, model, stop); });
    auto published = co_await publishing;
    if (published) teller.tellNow();
    co_return published;
}

Task<Outcome> SpeechModelStore::Core::verify(std::shared_ptr<Core> core, SpeechModel model) {
    const auto places = core->places(model);
    // Also what does not count as installed since something is wrong with it.
    const auto folder = ModelPlaces::exists(places.folder) ? places.folder : places.packaged;
    if (!ModelPlaces::exists(folder)) co_return failure(SpeechModelError{Kind::notInstalled});
    auto reading = core->background.run<Outcome>(
        [folder, model](const std::stop_token& stop) { return verifyFiles(folder, model, stop); });
    auto outcome = co_await reading;
    co_return core->logged("verified", model, std::move(outcome));
}

SpeechModelStore::SpeechModelStore(
    MainActor& actor, HttpClient& http, Folders folders, LogSink& log, Options options)
    : core(std::make_shared<Core>(actor, http, std::move(folders), log, options)) {}

SpeechModelStore::~SpeechModelStore() = default;

std::optional<SpeechModels::Place> SpeechModelStore::installed(const SpeechModel& model) {
    return core->places(model).installed(model);
}

std::uint64_t SpeechModelStore::downloaded(const SpeechModel& model) {
    return core->places(model).downloaded(model);
}

Task<Outcome> SpeechModelStore::install(
    const SpeechModel& model, std::string address, std::function<void(Progress)> onProgress) {
    return Core::install(core, model, std::move(address), std::move(onProgress));
}

Outcome SpeechModelStore::remove(const SpeechModel& model) {
    const auto places = core->places(model);
    if (!ModelPlaces::exists(places.folder) && !ModelPlaces::exists(places.downloads)) {
        const bool isPackaged = places.installed(model).has_value();
        return failure(SpeechModelError{isPackaged ? Kind::isPackaged : Kind::notInstalled});
    }
    const auto lock = ModelSwitch::begin(places);
    return core->logged(
        "removed", model, lock ? ModelSwitch::remove(places) : Outcome(failure(lock.error())));
}

Task<Outcome> SpeechModelStore::verify(const SpeechModel& model) {
    return Core::verify(core, model);
}

} // namespace nimbe
