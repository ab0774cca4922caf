#include "NimbeEngine/Speech/SpeechModelAssets.h"

#include <algorithm>
#include <cctype>

namespace nimbe {
namespace {

/// "en" of "en-US", "EN_gb" and "en".
std::string language(std::string_view locale) {
    std::string name(locale.substr(0, locale.find_first_of("-_")));
    for (char& c : name) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return name;
}

} // namespace

SpeechModelAssets::Download::~Download() {
    end(failure(SpeechModelError{SpeechModelError::Kind::brokenOff}.message()));
}

void SpeechModelAssets::Download::end(const Outcome& outcome) {
    for (const auto& waiter : std::exchange(waiting, {})) waiter.complete(outcome);
}

SpeechModelAssets::SpeechModelAssets(
    MainActor& actor, SpeechModels& models, const SpeechModel& model, std::string address)
    : actor(actor), models(models), model(model), address(std::move(address)) {}

std::optional<std::filesystem::path> SpeechModelAssets::folder() {
    const auto place = models.installed(model);
    return place ? std::optional(place->folder) : std::nullopt;
}

std::optional<std::string> SpeechModelAssets::supportedLocale(std::string_view equivalentTo) {
    if (language(equivalentTo) != language(model.locale)) return std::nullopt;
    return std::string(model.locale);
}

std::vector<std::string> SpeechModelAssets::installedLocales() {
    if (!models.installed(model)) return {};
    return {std::string(model.locale)};
}

SpeechAssets::Status SpeechModelAssets::status(std::string_view locale) {
    if (!supportedLocale(locale)) return Status::unsupported;
    if (models.installed(model)) return Status::installed;
    if (!download.expired()) return Status::downloading;
    // Nothing to download it from: supported by the program, but not to be had.
    return address.empty() ? Status::unknown : Status::supported;
}

Task<Result<void, std::string>> SpeechModelAssets::downloadAndInstall(
    std::string /*locale*/, std::function<void(double)> onProgress) {
    if (auto running = download.lock()) {
        const Completion<Download::Outcome> ended(actor);
        running->listeners.push_back(std::move(onProgress));
        running->waiting.push_back(ended);
        running.reset(); // it lives as long as whoever began it
        co_return co_await ended;
    }
    const auto mine = std::make_shared<Download>();
    download = mine;
    mine->listeners.push_back(std::move(onProgress));
    auto installing = models.install(
        model, address, [weak = std::weak_ptr(mine)](SpeechModels::Progress progress) {
            const auto current = weak.lock();
            if (!current || progress.total == 0) return;
            const auto part =
                static_cast<double>(progress.done) / static_cast<double>(progress.total);
            for (const auto& listener : current->listeners) listener(part);
        });
    const auto installed = co_await installing;
    Download::Outcome outcome;
    if (!installed) outcome = failure(installed.error().message());
    mine->end(outcome);
    co_return outcome;
}

Result<void, std::string> SpeechModelAssets::reserve(std::string_view locale) {
    if (reserved.size() >= maximumReservedLocales()) return failure(std::string("no room"));
    reserved.emplace_back(locale);
    return {};
}

} // namespace nimbe
