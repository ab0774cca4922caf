#pragma once

#include <optional>
#include <string>

#include "Foundation/Date.h"
#include "Foundation/UUID.h"
#include "NimbeKitCore/DictationMode.h"

namespace nimbe {

/// One dictation.
struct DictationEntry {
    UUID id; // given once, when the entry is made
    std::string text;
    Date timestamp; // when it was dictated; edits do not change it
    DictationMode mode = DictationMode::messaging;
    std::optional<std::string> originalText = {}; // as first saved, while `text` differs

    friend bool operator==(const DictationEntry&, const DictationEntry&) = default;
};

/// An entry in "Recently Deleted".
struct TrashedEntry {
    DictationEntry entry;
    Date deletedAt;
    bool wasSynced = false; // came from the synced history, which must take it back

    friend bool operator==(const TrashedEntry&, const TrashedEntry&) = default;
};

} // namespace nimbe
