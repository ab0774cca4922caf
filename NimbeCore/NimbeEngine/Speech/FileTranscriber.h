#pragma once

#include <functional>
#include <string>
#include <vector>

#include "NimbeEngine/Audio/AudioConverter.h"
#include "NimbeEngine/Audio/AudioFile.h"
#include "NimbeEngine/Speech/SpeechRuntime.h"
#include "NimbeEngine/Speech/TranscriptionEngine.h"

namespace nimbe {

/// A recording as text, utterance by utterance, as a session from a microphone would
/// have recognised it. Takes what recognising takes, on the calling thread; holds no
/// more than the utterance at hand.
class FileTranscriber {
public:
    struct Transcript {
        std::string text; // of all utterances, one after the other
        std::vector<TranscriptionResult> utterances = {};
        Seconds duration = 0;
        std::optional<AudioFileError> error = {}; // the recording ended there
    };
    /// The seconds of the recording that are done. False: the rest is not wanted, and what
    /// was heard until then is recognised.
    using OnProgress = std::function<bool(Seconds)>;

    FileTranscriber(AudioConverters& converters, SpeechRuntime::Recognizer& recognizer)
        : converters(converters), recognizer(recognizer) {}

    [[nodiscard]] Transcript transcribe(AudioFile& file, const OnProgress& onProgress);

private:
    AudioConverters& converters;
    SpeechRuntime::Recognizer& recognizer;
};

} // namespace nimbe
