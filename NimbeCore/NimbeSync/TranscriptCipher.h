#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "NimbeKitCore/History/LocalHistoryCipher.h"

namespace nimbe {

/// Seals a transcript's text: its UTF-8 by LocalHistoryCipher, so that what is sealed is 28
/// bytes longer. Any thread.
struct TranscriptCipher {
    [[nodiscard]] static Result<Bytes, CryptoError> seal(
        std::string_view text, const SymmetricKey& key);

    /// Absent for what LocalHistoryCipher does not open, and for what is not UTF-8.
    [[nodiscard]] static std::optional<std::string> open(
        const Bytes& sealed, const SymmetricKey& key);
};

} // namespace nimbe
