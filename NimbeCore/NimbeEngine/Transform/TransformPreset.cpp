#include "NimbeEngine/Transform/TransformPreset.h"

namespace nimbe {

std::string_view rawValue(TransformPreset preset) {
    switch (preset) {
    case TransformPreset::email: return "email";
    case TransformPreset::bullets: return "bullets";
    case TransformPreset::shorter: return "shorter";
    }
    return {};
}

std::string_view instruction(TransformPreset preset) {
    switch (preset) {
    case TransformPreset::email:
        return "Rewrite the text as a clear, ready-to-send email with a short greeting and "
               "closing. Keep the meaning and tone. Do not add facts.";
    case TransformPreset::bullets:
        return "Rewrite the text as a Markdown bulleted list. Each point goes on its own line "
               "starting with \"- \", with a newline between points, one point per idea. Keep "
               "all the information. Do not add points.";
    case TransformPreset::shorter:
        return "Rewrite the text at about half the length. Keep the key points and the "
               "speaker's tone; cut filler and repetition. Do not add anything.";
    }
    return {};
}

std::string_view symbolName(TransformPreset preset) {
    switch (preset) {
    case TransformPreset::email: return "envelope";
    case TransformPreset::bullets: return "list.bullet";
    case TransformPreset::shorter: return "arrow.down.right.and.arrow.up.left";
    }
    return {};
}

} // namespace nimbe
