#include "NimbeSync/TranscriptCipher.h"

#include "Foundation/Text.h"

namespace nimbe {

Result<Bytes, CryptoError> TranscriptCipher::seal(std::string_view text, const SymmetricKey& key) {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
    return LocalHistoryCipher::encrypt({bytes, text.size()}, key);
}

std::optional<std::string> TranscriptCipher::open(const Bytes& sealed, const SymmetricKey& key) {
    const auto opened = LocalHistoryCipher::decrypt(sealed, key);
    if (!opened) return std::nullopt;
    std::string text(opened->begin(), opened->end());
    if (!text::isValidUtf8(text)) return std::nullopt;
    return text;
}

} // namespace nimbe
