#include "Foundation/UUID.h"

#include <cstring>
#include <random>

namespace nimbe {
namespace {

constexpr std::string_view hexDigits = "0123456789ABCDEF";

std::optional<std::uint8_t> nibble(char c) {
    if (c >= '0' && c <= '9') return static_cast<std::uint8_t>(c - '0');
    if (c >= 'A' && c <= 'F') return static_cast<std::uint8_t>(c - 'A' + 10);
    if (c >= 'a' && c <= 'f') return static_cast<std::uint8_t>(c - 'a' + 10);
    return std::nullopt;
}

/// The four dashes of 8-4-4-4-12 stand before the bytes 4, 6, 8 and 10.
constexpr bool dashBefore(std::size_t byte) {
    return byte == 4 || byte == 6 || byte == 8 || byte == 10;
}

} // namespace

UUID UUID::random() {
    std::random_device source;
    UUID uuid;
    for (std::size_t i = 0; i < uuid.bytes.size(); i += sizeof(std::uint32_t)) {
        const std::uint32_t word = source();
        std::memcpy(&uuid.bytes[i], &word, sizeof word);
    }
    uuid.bytes[6] = static_cast<std::uint8_t>((uuid.bytes[6] & 0x0F) | 0x40); // version 4
    uuid.bytes[8] = static_cast<std::uint8_t>((uuid.bytes[8] & 0x3F) | 0x80); // RFC 4122 variant
    return uuid;
}

std::optional<UUID> UUID::parse(std::string_view text) {
    if (text.size() != 36) return std::nullopt;
    UUID uuid;
    std::size_t at = 0;
    for (std::size_t i = 0; i < uuid.bytes.size(); ++i) {
        if (dashBefore(i) && text[at++] != '-') return std::nullopt;
        const auto high = nibble(text[at++]);
        const auto low = nibble(text[at++]);
        if (!high || !low) return std::nullopt;
        uuid.bytes[i] = static_cast<std::uint8_t>(*high << 4 | *low);
    }
    return uuid;
}

std::string UUID::text() const {
    std::string text;
    text.reserve(36);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (dashBefore(i)) text += '-';
        text += hexDigits[bytes[i] >> 4];
        text += hexDigits[bytes[i] & 0x0F];
    }
    return text;
}

} // namespace nimbe
