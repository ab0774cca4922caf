#include "NimbeShell/ModelCleanup.h"

#include <ostream>
#include <utility>

#include "Foundation/Text.h"
#include "NimbeEngine/Cleanup/MacCleanupPolicy.h"
#include "NimbeEngine/Text/DictationText.h"
#include "NimbeShell/ShellServices.h"

namespace nimbe {
namespace {

Task<void> check(LanguageModel& model) {
    auto checking = model.check();
    (void)co_await checking;
}

Task<void> process(
    OnDeviceProcessor& processor, std::string text, DictationMode mode, std::string& finished) {
    auto processing = processor.process(std::move(text), mode);
    finished = co_await processing;
}

} // namespace

ModelCleanup::ModelCleanup(
    DictationMode mode, ShellServices& shell, const char* verb, std::ostream& error)
    : mode(mode), verb(verb), error(error) {
    if (MacCleanupPolicy::path(true, mode) != MacCleanupPolicy::Path::model) return;
    services = shell.language(error);
    if (!services) return;
    processor.emplace(services->loop, services->model, services->defaults,
        [this](std::string_view why) { kept = why; });
    services->loop.runUntilDone(check(services->model));
    tellOfModel();
}

void ModelCleanup::tellOfModel() {
    const auto& known = services->model.availability().get();
    tell(known.isAvailable() ? std::string() : known.message());
}

void ModelCleanup::tell(std::string message) {
    if (message.empty() || message == said) return;
    said = std::move(message);
    constexpr std::size_t most = 500; // characters
    error << verb << ": " << text::onOneLine(said, most) << " The text is not polished.\n";
}

std::string ModelCleanup::finished(const std::string& text) {
    switch (MacCleanupPolicy::path(true, mode)) {
    case MacCleanupPolicy::Path::raw: return text;
    case MacCleanupPolicy::Path::rules: break;
    case MacCleanupPolicy::Path::model:
        if (!processor) break;
        services->model.refresh(); // more than one text may be long after the check
        std::string polished;
        services->loop.runUntilDone(process(*processor, text, mode, polished));
        if (kept.empty())
            tellOfModel();
        else
            tell(std::exchange(kept, {}));
        return polished;
    }
    return finishedWithoutCleanup(std::string(text::trimmed(text)), false);
}

} // namespace nimbe
