#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

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

    ~NoteEditSession();

    // Changed in this order. Observers may cancel, or let go of the session.
    Published<std::string> _text;
    Published<std::optional<std::string>> _notice; // what went wrong last
    Published<bool> _isTransforming;

    /// Begins a transform; the editor has its text from the next turn of the main loop on.
    /// While one runs, and for a blank text or instruction, nothing happens and the answer
    /// is false.
    bool start(NoteTransform transform);
    /// The same, and waits until it has ended, was cancelled or the session is gone. A
    /// transform whose task is stopped is cancelled.
    [[nodiscard]] static Task<bool> transform(
        std::weak_ptr<NoteEditSession> weakSelf, NoteTransform transform);
    /// Gives up the transform that runs; the text before it is back, without a notice.
    void cancel();

    /// What the user types. Refused while a transform runs.
    bool edit(std::string text);

    /// Before the transform that runs or ran last.
    [[nodiscard]] const std::string& storedText() const { return stored; }
    /// Why the last transform failed; absent where it did not, or the notice says it all.
    [[nodiscard]] const std::optional<LanguageModelError>& error() const { return lastError; }

private:
    using Answer = Result<TransformProvider::Outcome, LanguageModelError>;
    using RunNumber = std::uint64_t;
    struct GiveUp;

    NoteEditSession(MainActor& actor, TransformProvider& provider, std::string text);

    bool start(NoteTransform transform, std::optional<Completion<bool>> whenEnded);
    [[nodiscard]] static Task<void> run(
        std::weak_ptr<NoteEditSession> weakSelf, RunNumber number, NoteTransform transform);
    [[nodiscard]] static Task<Answer> ask(TransformProvider& provider, NoteTransform transform,
        std::string text, TransformProvider::OnPartial onPartial);
    [[nodiscard]] bool take(RunNumber number, const TransformProvider::Partial& partial);
    void finish(RunNumber number, Answer answer);
    [[nodiscard]] bool isTooLong(std::string_view answer) const;
    void end(RunNumber number, std::string text, std::optional<std::string_view> notice);

    MainActor& actor;
    TransformProvider& provider;
    std::string stored;
    std::size_t limit = 0; // of the transform that runs
    std::optional<LanguageModelError> lastError;
    RunNumber lastRun = 0;
    RunNumber activeRun = 0; // none: 0
    std::optional<Completion<bool>> ended;
    TaskHandle running;
};

} // namespace nimbe
