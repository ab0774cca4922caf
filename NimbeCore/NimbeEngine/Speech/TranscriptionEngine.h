#pragma once

#include <string>
#include <string_view>

#include "Foundation/AsyncStream.h"
#include "Foundation/Result.h"
#include "NimbeEngine/Audio/AudioSink.h"
#include "NimbeEngine/Speech/DictationError.h"

namespace nimbe {

/// A settled stretch of speech, or a guess for the one that goes on, which later
/// results replace. Texts are appended as they come: a stretch that follows another
/// brings the space between them.
struct TranscriptionResult {
    std::string text;
    bool isFinal = false;
    Seconds begin = 0; // of the sound, from the session's first sample
    Seconds end = 0;

    friend bool operator==(const TranscriptionResult&, const TranscriptionResult&) = default;
};

/// Ends after the last result, or with an error, a sentence for the user.
using TranscriptionResults = AsyncStream<Result<TranscriptionResult, std::string>>;

/// A speech recogniser, one session at a time. Main thread.
class TranscriptionEngine {
public:
    virtual ~TranscriptionEngine() = default;

    /// What start() then takes; absent: none.
    [[nodiscard]] virtual std::optional<AudioFormat> bestAvailableAudioFormat(
        std::string_view localeID) = 0;

    /// Begins a session; one that runs is cancelled. Does not wait for what is slow:
    /// sound is taken from then on, and recognised when the recogniser is ready.
    [[nodiscard]] virtual Result<TranscriptionResults, DictationError> start(
        std::string_view localeID, AudioFormat format) = 0;

    /// Where the session's sound goes.
    [[nodiscard]] virtual AudioSink& input() = 0;

    /// The locale of the session.
    [[nodiscard]] virtual std::optional<std::string> activeLocaleID() const = 0;

    /// There is no more sound: what is still to come becomes final, then the results end.
    virtual void finish() = 0;

    /// Ends the results at once.
    virtual void cancel() = 0;
};

} // namespace nimbe
