#include "NimbeEngine/Speech/AppleSpeechEngine.h"

#include <algorithm>

#include "NimbeEngine/Speech/SpeechModelProbe.h"

namespace nimbe {

AppleSpeechEngine::AppleSpeechEngine(
    TranscriptionEngine& recogniser, SpeechAssets& assets, LogSink& sink)
    : recogniser(recogniser), assets(assets), log(sink, "speech") {}

std::optional<AudioFormat> AppleSpeechEngine::bestAvailableAudioFormat(std::string_view localeID) {
    const auto locale = assets.supportedLocale(localeID);
    return locale ? recogniser.bestAvailableAudioFormat(*locale) : std::nullopt;
}

Result<TranscriptionResults, DictationError> AppleSpeechEngine::start(
    std::string_view localeID, AudioFormat format) {
    const auto locale = assets.supportedLocale(localeID);
    if (!locale)
        return failure(DictationError{
            DictationError::Kind::modelUnavailable, std::string(SpeechModelProbe::notSupported)});
    reserve(*locale);
    return recogniser.start(*locale, format);
}

/// Only a preference: a session begins without it, too.
void AppleSpeechEngine::reserve(const std::string& locale) {
    const auto reserved = assets.reservedLocales();
    if (std::find(reserved.begin(), reserved.end(), locale) != reserved.end()) return;
    const auto maximum = assets.maximumReservedLocales();
    if (reserved.size() >= maximum) {
        log.info("reserve skipped: %zu/%zu locales reserved", reserved.size(), maximum);
        return;
    }
    if (const auto done = assets.reserve(locale); !done)
        log.error("reserve(%s) failed: %s", locale.c_str(), done.error().c_str());
}

} // namespace nimbe
