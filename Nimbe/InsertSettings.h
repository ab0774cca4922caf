#pragma once

#include "Foundation/UserDefaults.h"

namespace nimbe {

/// What the user chose for finished text.
struct InsertSettings {
    /// A text that cannot be inserted is copied, instead of only saved.
    inline static const Setting<bool> insertAutoCopy{"insertAutoCopy", true};
    /// A sound when text was inserted.
    inline static const Setting<bool> insertSoundEnabled{"insertSoundEnabled", false};
};

} // namespace nimbe
