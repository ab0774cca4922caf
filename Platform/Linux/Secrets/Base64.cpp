#include "PlatformSecrets/Base64.h"

#include <glib.h>
#include <memory>

namespace nimbe {

std::string base64Encoded(const Bytes& bytes) {
    const std::unique_ptr<gchar, decltype(&g_free)> text(
        g_base64_encode(bytes.data(), bytes.size()), g_free);
    return text.get();
}

std::optional<Bytes> base64Decoded(std::string_view text) {
    gsize size = 0;
    const std::unique_ptr<guchar, decltype(&g_free)> decoded(
        g_base64_decode(std::string(text).c_str(), &size), g_free);
    Bytes bytes(decoded.get(), decoded.get() + size);
    // The decoder skips what it does not know.
    if (base64Encoded(bytes) != text) return std::nullopt;
    return bytes;
}

} // namespace nimbe
