#include "NimbeShell/PublicSetting.h"

#include <algorithm>
#include <array>

#include "Foundation/ServiceAddress.h"
#include "Foundation/Text.h"
#include "NimbeApp/AppSettings.h"
#include "NimbeApp/InsertSettings.h"
#include "NimbeApp/ObsidianExporter.h"
#include "NimbeApp/PasteRules.h"
#include "NimbeApp/UpdateChecker.h"
#include "NimbeEngine/Cleanup/MacCleanupPolicy.h"
#include "NimbeEngine/Language/LanguageModelSettings.h"
#include "NimbeEngine/Speech/SpeechModels.h"
#include "NimbeEngine/Transform/OnDeviceTransformer.h"
#include "NimbeEngine/Transform/PromptFetcher.h"
#include "NimbeKitCore/DictationMode.h"
#include "NimbeKitCore/Microphone/MicrophoneSelection.h"
#include "NimbeSync/HistorySyncPrompt.h"
#include "NimbeSync/PrivacySettings.h"

namespace nimbe {
namespace {

using Value = PublicSetting::Value;
using Refused = std::optional<std::string>;

Refused refuseDevice(const Value& value) {
    if (!std::get<std::string>(value).empty()) return std::nullopt;
    return "cannot be empty: nimbe devices lists the microphones.";
}

Refused refuseService(const Value& value) {
    if (ServiceAddress::parse(std::get<std::string>(value))) return std::nullopt;
    return "must be an https address, or an http address of this machine.";
}

Refused refuseLanguageModel(const Value& value) {
    if (ServiceAddress::parse(std::get<std::string>(value), ServiceAddress::Hosts::any))
        return std::nullopt;
    return "must be an http or https address, without name, password, ? and #.";
}

Refused refuseEmpty(const Value& value) {
    if (!text::trimmed(std::get<std::string>(value)).empty()) return std::nullopt;
    return "cannot be empty; nimbe settings reset takes it back.";
}

Refused refuseDeadline(const Value& value) {
    if (LanguageModelSettings::parseDeadline(std::get<std::string>(value))) return std::nullopt;
    return "must be a whole number of seconds, 1 to 120.";
}

Refused refuseMode(const Value& value) {
    if (dictationMode(std::get<std::string>(value))) return std::nullopt;
    return "must be messaging, email, notes or coding.";
}

Refused refusePrivacy(const Value& value) {
    const auto& given = std::get<std::string>(value);
    if (given == rawValue(privacyMode(given))) return std::nullopt;
    return "must be privateICloudSync or localOnly.";
}

Refused refuseModels(const Value& value) {
    const auto& text = std::get<std::string>(value);
    if (text.find('@') != text.npos) return "cannot hold a name or a password.";
    if (text.starts_with("https://") || text.starts_with("http://")) return std::nullopt;
    return "must be an https or http address.";
}

Refused refuseFolder(const Value& value) {
    if (std::get<std::string>(value).starts_with('/')) return std::nullopt;
    return "must be a folder's whole path, which begins with a slash.";
}

Refused refuseRules(const Value& value) {
    for (const auto& entry : std::get<std::vector<std::string>>(value))
        if (!PasteRules::parse(entry))
            return "takes CLASS, CLASS=standard, CLASS=terminal or CLASS=insert, not \"" + entry +
                   "\".";
    return std::nullopt;
}

template <typename T>
PublicSetting entry(
    const Setting<T>& setting, std::string_view text, PublicSetting::Refusal refusal = nullptr) {
    return {setting.key, Value(setting.fallback), text, refusal};
}

constexpr std::array<std::string_view, 3> wordsForOn{"on", "true", "yes"};
constexpr std::array<std::string_view, 3> wordsForOff{"off", "false", "no"};

std::optional<bool> switchOf(std::string word) {
    std::transform(word.begin(), word.end(), word.begin(),
        [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    const auto isOneOf = [&](const auto& words) {
        return std::find(words.begin(), words.end(), word) != words.end();
    };
    if (isOneOf(wordsForOn)) return true;
    if (isOneOf(wordsForOff)) return false;
    return std::nullopt;
}

} // namespace

const std::vector<PublicSetting>& PublicSetting::all() {
    static const std::vector<PublicSetting> settings{
        entry(AppSettings::menuBarVisible, "Show Nimbe in the panel of the desktop"),
        entry(AppSettings::onboardingCompleted, "The first steps were shown to their end"),
        entry(AppSettings::reduceMotion, "Change without movement what is shown"),
        entry(MacCleanupPolicy::aiCleanupEnabled, "A language model polishes what is dictated"),
        entry(AppSettings::dictationMode, "What dictations are for: their style when polished",
            refuseMode),
        entry(LanguageModelSettings::address, "Where the language model's server is",
            refuseLanguageModel),
        entry(LanguageModelSettings::allowsOtherHosts,
            "Send what is dictated to a server on another machine, too"),
        entry(LanguageModelSettings::name, "The language model, as nimbe model list shows it",
            refuseEmpty),
        entry(LanguageModelSettings::deadline,
            "Seconds that a dictation waits for its polished text", refuseDeadline),
        entry(OnDeviceTransformer::emailSignatureName, "The name under e-mails"),
        entry(PromptFetcher::serviceAddress,
            "Where newer instructions for transforms are asked for", refuseService),
        entry(InsertSettings::insertSoundEnabled, "Play a sound when text was inserted"),
        entry(PasteRules::own, "How programs paste: CLASS or CLASS=CHORD each", refuseRules),
        entry(MicrophoneSelection::selectedInput, "The microphone, by its ID in nimbe devices",
            refuseDevice),
        entry(speechModelBaseAddress, "Where speech models are downloaded from", refuseModels),
        entry(HistorySyncPrompt::historyEnabled, "Keep all dictations, not the last hundred alone"),
        entry(PrivacySettings::privacyMode,
            "Whether a cloud of yours may mirror them: privateICloudSync or localOnly",
            refusePrivacy),
        entry(ObsidianExporter::exportFolder, "Where dictations are exported to", refuseFolder),
        entry(ObsidianExporter::isAutomatic, "Export each dictation as it is made"),
        entry(UpdateChecker::automaticChecksEnabled, "Ask for newer builds once a day"),
        entry(UpdateChecker::serviceAddress, "Where to ask for newer builds", refuseService),
    };
    return settings;
}

const PublicSetting* PublicSetting::named(std::string_view key) {
    for (const auto& setting : all())
        if (setting.key == key) return &setting;
    return nullptr;
}

std::string_view PublicSetting::typeName() const {
    if (std::holds_alternative<bool>(fallback)) return "bool";
    return std::holds_alternative<std::string>(fallback) ? "string" : "list";
}

Result<Value, std::string> PublicSetting::parse(const std::vector<std::string>& words) const {
    Value value = words;
    if (!isStorable(value)) return failure(std::string("takes UTF-8 text only."));
    if (typeName() != "list") {
        if (words.size() != 1) return failure(std::string("takes one value."));
        value = words.front();
    }
    if (typeName() == "bool") {
        const auto isOn = switchOf(words.front());
        if (!isOn) return failure("is on or off, not \"" + words.front() + "\".");
        value = *isOn;
    }
    if (refusal)
        if (const auto why = refusal(value)) return failure(*why);
    return value;
}

std::optional<PublicSetting::Current> PublicSetting::current(UserDefaults& defaults) const {
    const auto stored = defaults.value(key);
    if (!stored && stored.error().kind == DefaultsError::Kind::unavailable) return std::nullopt;
    if (stored && !*stored) return Current{State::standard, fallback};
    if (!stored || (*stored)->index() != fallback.index()) return Current{State::damaged, fallback};
    return Current{State::stored, **stored};
}

} // namespace nimbe
