#include "NimbeShell/Input.h"

#include <array>
#include <istream>
#include <ostream>

#include "Foundation/Text.h"

namespace nimbe {

std::optional<std::string> readText(std::istream& input, const char* verb, std::ostream& error) {
    std::string text;
    std::array<char, 65536> buffer{};
    while (input.read(buffer.data(), buffer.size()) || input.gcount() > 0) {
        text.append(buffer.data(), static_cast<std::size_t>(input.gcount()));
        if (text.size() > largestInput) {
            error << verb << ": The input is longer than 256 MiB.\n";
            return std::nullopt;
        }
    }
    if (input.bad()) {
        error << verb << ": The input cannot be read.\n";
        return std::nullopt;
    }
    if (auto checked = text::toUtf16(text); checked.replaced > 0) {
        error << verb << ": The input is not UTF-8 in " << checked.replaced
              << (checked.replaced == 1 ? " place, which" : " places, which")
              << " became U+FFFD.\n";
        text = text::toUtf8(checked.text);
    }
    if (text.ends_with('\n')) text.erase(text.size() - (text.ends_with("\r\n") ? 2 : 1));
    return text;
}

} // namespace nimbe
