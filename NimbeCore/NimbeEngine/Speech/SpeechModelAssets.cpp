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

SpeechModelAssets::SpeechModelAssets(
    SpeechModels& models, const SpeechModel& model, std::string address)
    : models(models), model(model), address(std::move(address)) {}

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
    if (isDownloading) return Status::downloading;
    // Nothing to download it from: supported by the program, but not to be had.
    return address.empty() ? Status::unknown : Status::supported;
}

Task<Result<void, std::string>> SpeechModelAssets::downloadAndInstall(
    std::string /*locale*/, std::function<void(double)> onProgress) {
    struct Downloading {
        bool& flag;
        explicit Downloading(bool& flag) : flag(flag) { flag = true; }
        ~Downloading() { flag = false; }
    };
    const Downloading downloading(isDownloading);
    auto installing = models.install(
        model, address, [onProgress = std::move(onProgress)](SpeechModels::Progress progress) {
            if (progress.total > 0)
                onProgress(
                    static_cast<double>(progress.done) / static_cast<double>(progress.total));
        });
    const auto installed = co_await installing;
    if (!installed) co_return failure(installed.error().message());
    co_return Result<void, std::string>();
}

Result<void, std::string> SpeechModelAssets::reserve(std::string_view locale) {
    if (reserved.size() >= maximumReservedLocales()) return failure(std::string("no room"));
    reserved.emplace_back(locale);
    return {};
}

} // namespace nimbe
