#include "PlatformSpeech/OnnxSpeechRuntime.h"

#include <exception>
#include <system_error>

#include "PlatformSpeech/MoonshineDecoder.h"
#include "PlatformSpeech/SileroVoiceDetector.h"

namespace nimbe {

Result<SpeechRuntime::Recognizer, SpeechModelError> OnnxSpeechRuntime::load(
    const std::filesystem::path& folder) {
    using Kind = SpeechModelError::Kind;
    std::error_code error;
    if (!std::filesystem::is_directory(folder, error))
        return failure(SpeechModelError{Kind::notInstalled, folder.string() + " is no folder"});
    try {
        Recognizer recognizer;
        recognizer.detector =
            std::make_unique<SileroVoiceDetector>(folder / SpeechModel::voiceDetector);
        auto decoder = std::make_unique<MoonshineDecoder>(folder, threads);
        decoder->warmUp();
        recognizer.decoder = std::move(decoder);
        return recognizer;
    } catch (const std::exception& problem) {
        return failure(SpeechModelError{Kind::damaged, problem.what()});
    }
}

} // namespace nimbe
