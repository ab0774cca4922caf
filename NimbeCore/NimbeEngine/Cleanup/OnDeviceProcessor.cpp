#include "NimbeEngine/Cleanup/OnDeviceProcessor.h"

#include <utility>

#include "Foundation/TaskScope.h"
#include "NimbeEngine/Cleanup/CleanupPolicy.h"
#include "NimbeEngine/Cleanup/TextCleaner.h"
#include "NimbeEngine/Language/LanguageModelSettings.h"

namespace nimbe {
namespace {

using Answer = Result<LanguageModel::Response, LanguageModelError>;

/// The rules' text, and why it stands; or the model's, and nothing.
struct Finished {
    std::string text;
    std::string_view why = {};
};

std::string_view messageOf(LanguageModelError::Kind kind) {
    return LanguageModelError{kind}.message();
}

/// An answer that is absent came too late.
Finished judged(const std::optional<Answer>& answer, const std::string& fallback) {
    using Kind = LanguageModelError::Kind;
    if (!answer) return {fallback, messageOf(Kind::timedOut)};
    if (!*answer) return {fallback, answer->error().message()};
    if (!(*answer)->isWhole) return {fallback, "The language model's answer ended too early."};
    const Json* const cleaned = (*answer)->content.member("text");
    const std::string* const words = cleaned ? cleaned->asString() : nullptr;
    if (!words) return {fallback, messageOf(Kind::malformed)};
    auto candidate = TextCleaner::sanitize(*words, "");
    if (candidate.empty()) return {fallback, "The language model's answer was no text to use."};
    if (!CleanupPolicy::accepts(fallback, candidate))
        return {fallback, "The language model's answer was longer than what was said."};
    return {std::move(candidate)};
}

} // namespace

Task<std::string> OnDeviceProcessor::process(std::string text, DictationMode mode) {
    const auto fallback = TextCleaner::fallback(text);
    if (fallback.empty() || !model.availability().get().isAvailable()) co_return fallback;

    LanguageModel::Request request{TextCleaner::instructions(mode), fallback,
        TextCleaner::cleaned(), LanguageModelSettings::deadlineIn(defaults)};
    const auto limit = request.deadline;
    const auto tell = onKept; // the processor may be gone after the wait
    auto asking = withDeadline(actor, limit, model.respond(std::move(request), {}));
    const auto answer = co_await asking;

    const auto finished = judged(answer, fallback);
    if (!finished.why.empty() && tell) tell(finished.why);
    co_return finished.text;
}

void OnDeviceProcessor::prewarm(DictationMode mode) {
    model.prewarm(TextCleaner::instructions(mode));
}

} // namespace nimbe
