#pragma once

#include <memory>
#include <optional>
#include <string>

#include "Foundation/Published.h"
#include "NimbeEngine/Transform/TransformProvider.h"

namespace nimbe {

/// A note in the editor, and the transform that runs on it. Main thread.
///
/// A transform's text stands in the editor while it comes. When the transform fails, the
/// text before it is back, byte for byte.
class NoteEditSession : public std::enable_shared_from_this<NoteEditSession> {
public:
    static constexpr std::string_view offTheRails =
        "The transform went off the rails. Kept your text.";
    static constexpr std::string_view cameBackEmpty =
        "The transform came back empty. Kept your text.";
    static constexpr std::string_view failed = "Transform failed. Kept your text.";
    static constexpr std::string_view stoppedEarly = "Transform stopped early. Edit or try again.";

    /// The most user-perceived characters that the answer may have.
    [[nodiscard]] static std::size_t longestAnswer(std::string_view text);

    /// `provider` is lent and outlives the session.
    [[nodiscard]] static std::shared_ptr<NoteEditSession> create(
        MainActor& actor, TransformProvider& provider, std::string text);

    Published<std::string> _text;
    Published<bool> _isTransforming;
    Published<std::optional<std::string>> _notice; // what went wrong last

    /// Runs one transform; it ends when that has ended. While one runs, and for a blank
    /// text or instruction, nothing happens and the answer is false.
    [[nodiscard]] static Task<bool> transform(
        std::weak_ptr<NoteEditSession> weakSelf, NoteTransform transform);
    /// The same, without waiting for the end.
    bool start(NoteTransform transform);
    /// Gives up the transform that start() began; the text before it is back.
    void cancel();

    /// What the user types. Refused while a transform runs.
    bool edit(std::string text);

    /// Before the transform that runs or ran last.
    [[nodiscard]] const std::string& storedText() const { return stored; }
    /// Why the last transform failed; absent where it did not, or the notice says it all.
    [[nodiscard]] const std::optional<LanguageModelError>& error() const { return lastError; }

private:
    NoteEditSession(MainActor& actor, TransformProvider& provider, std::string text);

    MainActor& actor;
    TransformProvider& provider;
    std::string stored;
    std::optional<LanguageModelError> lastError;
    TaskHandle running;

    // Declared with what it needs; see NoteEditSession.cpp.
    using Answer = Result<TransformProvider::Outcome, LanguageModelError>;
    void begin();
    [[nodiscard]] bool takePartial(const TransformProvider::Partial& partial, std::size_t limit);
    void finish(Answer answer);
    void keepStored(std::string_view notice);
};

} // namespace nimbe
