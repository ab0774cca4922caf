#include "PlatformSecrets/Base64.h"

#include <openssl/evp.h>

namespace nimbe {

std::string base64Encoded(const Bytes& bytes) {
    std::string text((bytes.size() + 2) / 3 * 4 + 1, '\0'); // it ends the text with a NUL byte
    const int length = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()), bytes.data(),
        static_cast<int>(bytes.size()));
    text.resize(static_cast<std::size_t>(length));
    return text;
}

std::optional<Bytes> base64Decoded(std::string_view text) {
    Bytes bytes(text.size() / 4 * 3);
    const int length = EVP_DecodeBlock(bytes.data(),
        reinterpret_cast<const unsigned char*>(text.data()), static_cast<int>(text.size()));
    if (length < 0) return std::nullopt;
    // The padding counts as bytes there.
    const auto padding = text.size() - (text.find_last_not_of('=') + 1);
    if (padding > static_cast<std::size_t>(length)) return std::nullopt;
    bytes.resize(static_cast<std::size_t>(length) - padding);
    // The decoder passes over white space and odd bits.
    if (base64Encoded(bytes) != text) return std::nullopt;
    return bytes;
}

} // namespace nimbe
