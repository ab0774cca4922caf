#include "Foundation/Utf8.h"

#include <cstdint>

#include <unicode/utf8.h> // its macros alone, which need no library

namespace nimbe::text {

bool isValidUtf8(std::string_view bytes) {
    const auto size = static_cast<std::int32_t>(bytes.size());
    for (std::int32_t at = 0; at < size;) {
        UChar32 c = 0;
// ICU's macros convert as C does.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion"
#pragma GCC diagnostic ignored "-Wsign-conversion"
#pragma GCC diagnostic ignored "-Wold-style-cast"
        U8_NEXT(bytes.data(), at, size, c);
#pragma GCC diagnostic pop
        if (c < 0) return false;
    }
    return true;
}

} // namespace nimbe::text
