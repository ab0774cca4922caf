#include "NimbeEngine/Cleanup/OnDeviceProcessor.h"

#include <utility>

#include "Foundation/TaskScope.h"
#include "NimbeEngine/Cleanup/CleanupPolicy.h"
#include "NimbeEngine/Cleanup/TextCleaner.h"
#include "NimbeEngine/Language/LanguageModelSettings.h"

namespace nimbe {

Task<std::string> OnDeviceProcessor::process(std::string text, DictationMode mode) {
    const auto fallback = TextCleaner::fallback(text);
    if (fallback.empty() || !model.availability().get().isAvailable()) co_return fallback;

    LanguageModel::Request request{TextCleaner::instructions(mode), fallback,
        TextCleaner::cleaned(), LanguageModelSettings::deadlineIn(defaults)};
    const auto limit = request.deadline;
    auto asking = withDeadline(actor, limit, model.respond(std::move(request), {}));
    const auto answer = co_await asking;

    if (!answer || !*answer || !(*answer)->isWhole) co_return fallback;
    const Json* const cleaned = (*answer)->content.member("text");
    const std::string* const words = cleaned ? cleaned->asString() : nullptr;
    if (!words) co_return fallback;
    auto candidate = TextCleaner::sanitize(*words, fallback);
    co_return CleanupPolicy::accepts(fallback, candidate) ? candidate : fallback;
}

void OnDeviceProcessor::prewarm(DictationMode mode) {
    model.prewarm(TextCleaner::instructions(mode));
}

} // namespace nimbe
