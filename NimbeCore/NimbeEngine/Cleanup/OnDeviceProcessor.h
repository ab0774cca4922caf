#pragma once

#include <functional>
#include <string_view>

#include "Foundation/UserDefaults.h"
#include "NimbeEngine/Cleanup/TextProcessor.h"
#include "NimbeEngine/Language/LanguageModel.h"

namespace nimbe {

/// The rules, then the language model on the user's machine. Its answer is distrusted:
/// where there is none in time, or it is not the text that was asked for, the rules' text
/// stands.
class OnDeviceProcessor final : public TextProcessor {
public:
    /// Told why the rules' text stands though a model was asked: for the user, one sentence
    /// without a word of the text.
    using OnKept = std::function<void(std::string_view why)>;

    /// Lent; all outlive the processor.
    OnDeviceProcessor(
        MainActor& actor, LanguageModel& model, UserDefaults& defaults, OnKept onKept = {})
        : actor(actor), model(model), defaults(defaults), onKept(std::move(onKept)) {}

    /// A model that is not known to be available is not waited for.
    [[nodiscard]] Task<std::string> process(std::string text, DictationMode mode) override;

    /// Somebody begins to speak: the model is loaded and has read its instructions when
    /// the words come.
    void prewarm(DictationMode mode);

private:
    MainActor& actor;
    LanguageModel& model;
    UserDefaults& defaults;
    OnKept onKept;
};

} // namespace nimbe
