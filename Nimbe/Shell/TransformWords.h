#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Foundation/Result.h"
#include "NimbeEngine/Transform/TransformPreset.h"

namespace nimbe {

/// What a command line asks for: by name, or in the user's own words.
struct TransformWords {
    std::vector<std::string> words = {};
    std::optional<std::string> instruction = {}; // taken as it is, a name as well

    /// One word that is a name, whatever its case, is that transform, all else an
    /// instruction. A single word that is nearly a name is refused: as an instruction it
    /// would hardly be meant. An error is a sentence.
    [[nodiscard]] Result<NoteTransform, std::string> transform() const;
};

} // namespace nimbe
