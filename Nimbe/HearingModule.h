#pragma once

#include <filesystem>
#include <memory>

#include "Foundation/Log.h"
#include "Foundation/MainActor.h"
#include "NimbeEngine/Audio/AudioConverter.h"
#include "NimbeEngine/Audio/AudioFile.h"
#include "NimbeEngine/Audio/AudioInput.h"
#include "NimbeEngine/Speech/SpeechModels.h"
#include "NimbeEngine/Speech/SpeechRuntime.h"

namespace nimbe {

/// All that hearing needs of the platform: sound, the speech runtime, downloads. It
/// stands in a library of its own that is loaded when a mode first needs it, so that
/// the others start without the libraries behind it and stay small.
class HearingModule {
public:
    struct ModelFolders {
        std::filesystem::path installed;
        std::filesystem::path downloads;
        std::filesystem::path packaged;
    };

    virtual ~HearingModule() = default;

    [[nodiscard]] virtual std::unique_ptr<AudioInput> makeAudioInput(
        MainActor& actor, LogSink& sink) = 0;
    [[nodiscard]] virtual std::unique_ptr<SpeechModels> makeSpeechModels(
        MainActor& actor, const ModelFolders& folders, LogSink& sink) = 0;
    [[nodiscard]] virtual AudioConverters& audioConverters() = 0;
    [[nodiscard]] virtual AudioFiles& audioFiles() = 0;
    [[nodiscard]] virtual SpeechRuntime& speechRuntime() = 0;
};

} // namespace nimbe
