#include "NimbeEngine/Speech/SpeechModelProbe.h"

#include "NimbeEngine/Speech/DictationError.h"

namespace nimbe {

std::optional<std::string_view> SpeechModelProbe::message() const {
    if (installed || (supported && installable)) return std::nullopt;
    return supported ? notInstalled : notSupported;
}

ModelReadiness::Value ModelReadiness::of(SpeechAssets::Status status, bool override) {
    using Status = SpeechAssets::Status;
    if (override) return Proceed{};
    switch (status) {
    case Status::installed: return Proceed{};
    case Status::unsupported: return Unavailable{SpeechModelProbe::notSupported};
    case Status::supported:
    case Status::downloading: return AwaitInstall{};
    case Status::unknown: break;
    }
    return Unavailable{SpeechModelProbe::notInstalled};
}

std::string DictationError::message() const {
    switch (kind) {
    case Kind::modelUnavailable: break;
    case Kind::noCompatibleAudioFormat:
        return "No compatible on-device audio format is available for transcription.";
    case Kind::modelPreparationTimedOut:
        return "Preparing the on-device speech model timed out. Check your connection and try "
               "again.";
    }
    return detail.empty() ? std::string(SpeechModelProbe::notInstalled) : detail;
}

} // namespace nimbe
