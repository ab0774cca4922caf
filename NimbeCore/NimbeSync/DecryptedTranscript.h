#pragma once

#include <optional>
#include <string>

#include "Foundation/Date.h"
#include "Foundation/UUID.h"

namespace nimbe {

/// A transcript of the synced store, opened.
struct DecryptedTranscript {
    UUID id; // of the dictation
    std::string text;
    Date createdAt;
    std::string mode = "messaging";               // DictationMode's raw value, or a newer one's
    std::optional<std::string> originalText = {}; // before the AI cleanup, where there was one

    friend bool operator==(const DecryptedTranscript&, const DecryptedTranscript&) = default;
};

} // namespace nimbe
