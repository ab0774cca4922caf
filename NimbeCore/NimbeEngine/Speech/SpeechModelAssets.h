#pragma once

#include <filesystem>
#include <memory>

#include "NimbeEngine/Speech/SpeechAssets.h"
#include "NimbeEngine/Speech/SpeechModels.h"

namespace nimbe {

/// One speech model as what there is of speech recognition: its language, in every
/// region of it. Main thread.
class SpeechModelAssets final : public SpeechAssets {
public:
    /// `address` is where the model is downloaded from; empty: from nowhere.
    SpeechModelAssets(
        MainActor& actor, SpeechModels& models, const SpeechModel& model, std::string address);

    /// Its folder; absent while it is not installed.
    [[nodiscard]] std::optional<std::filesystem::path> folder();

    [[nodiscard]] std::optional<std::string> supportedLocale(
        std::string_view equivalentTo) override;
    [[nodiscard]] std::vector<std::string> installedLocales() override;
    [[nodiscard]] Status status(std::string_view locale) override;
    [[nodiscard]] Task<Result<void, std::string>> downloadAndInstall(
        std::string locale, std::function<void(double)> onProgress) override;
    [[nodiscard]] std::vector<std::string> reservedLocales() override { return reserved; }
    /// One model holds one language.
    [[nodiscard]] std::size_t maximumReservedLocales() override { return 1; }
    [[nodiscard]] Result<void, std::string> reserve(std::string_view locale) override;

private:
    MainActor& actor;
    SpeechModels& models;
    const SpeechModel& model;
    std::string address;
    std::vector<std::string> reserved;

    /// The one that is under way. Whoever asks meanwhile waits for its end.
    struct Download {
        using Outcome = Result<void, std::string>;

        ~Download();
        void end(const Outcome& outcome);

        std::vector<std::function<void(double)>> listeners = {};
        std::vector<Completion<Outcome>> waiting = {};
    };
    std::weak_ptr<Download> download;
};

} // namespace nimbe
