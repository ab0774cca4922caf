#pragma once

#include <functional>
#include <string>
#include <vector>

#include "NimbeEngine/Audio/AudioConverter.h"
#include "NimbeEngine/Audio/AudioFile.h"
#include "NimbeEngine/Speech/SpeechModels.h"
#include "NimbeEngine/Speech/SpeechRuntime.h"
#include "NimbeShell/CommandLine.h"
#include "NimbeShell/ProgressBar.h"

namespace nimbe {

class ShellServices;

struct TranscribeOptions {
    std::vector<std::string> files;
    std::string model;          // empty: the default
    std::string mode = "notes"; // of what is saved
    bool isRaw = false;
    bool isJson = false;
    bool isSaved = false;
};

/// What the verb works on.
struct TranscribeServices {
    AudioFiles& files;
    AudioConverters& converters;
    SpeechRuntime& runtime;
    SpeechModels& models;
    /// The user wants it to end.
    std::function<bool()> isInterrupted = [] {
        return false;
    };
    ProgressBar::Form progress = ProgressBar::Form::none;
    int columns = 80; // of the terminal that the progress is shown on
};

/// Recordings to text on standard output. Fails when one of them could not be read to
/// its end; the others, and what was read of it, are written all the same.
[[nodiscard]] int runTranscribe(const TranscribeOptions& options,
    const TranscribeServices& services, ShellServices& shell, Streams streams);

} // namespace nimbe
