#pragma once

#include "Foundation/UserDefaults.h"
#include "NimbeEngine/Language/LanguageModel.h"
#include "NimbeEngine/Transform/PromptRegistry.h"
#include "NimbeEngine/Transform/TransformProvider.h"

namespace nimbe {

/// Transforms by the language model on the user's machine.
class OnDeviceTransformer final : public TransformProvider {
public:
    /// Signs the e-mails; empty: they end with "Thanks,".
    inline static const Setting<std::string> emailSignatureName{"emailSignatureName"};

    /// A long note on a slow machine takes minutes; one that nothing comes of is given up.
    static constexpr Seconds deadline = 600;
    static constexpr Seconds stallDeadline = 60;

    /// The forms of the model's answers.
    [[nodiscard]] static const GeneratedType& transformed();
    [[nodiscard]] static const GeneratedType& emailDraft();
    [[nodiscard]] static const GeneratedType& bulletDraft();

    /// Lent; all outlive the transformer.
    OnDeviceTransformer(LanguageModel& model, const PromptRegistry& prompts, UserDefaults& defaults)
        : model(model), prompts(prompts), defaults(defaults) {}

    [[nodiscard]] Task<Result<Outcome, LanguageModelError>> transform(
        NoteTransform transform, std::string text, OnPartial onPartial) override;

private:
    LanguageModel& model;
    const PromptRegistry& prompts;
    UserDefaults& defaults;
};

} // namespace nimbe
