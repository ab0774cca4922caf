#include "NimbeShell/Input.h"

#include <array>
#include <istream>
#include <ostream>

#include "Foundation/Text.h"

namespace nimbe {

bool readBytes(std::istream& input, std::size_t largest, const char* verb, std::ostream& error,
    std::string& bytes) {
    std::array<char, 65536> buffer{};
    while (input.read(buffer.data(), buffer.size()) || input.gcount() > 0) {
        bytes.append(buffer.data(), static_cast<std::size_t>(input.gcount()));
        if (bytes.size() > largest) {
            error << verb << ": The input is longer than " << (largest >> 20) << " MiB.\n";
            return false;
        }
    }
    if (input.bad()) error << verb << ": The input cannot be read.\n";
    return !input.bad();
}

std::string textOf(std::string bytes, const char* verb, std::ostream& error) {
    auto text = std::move(bytes);
    if (auto checked = text::toUtf16(text); checked.replaced > 0) {
        error << verb << ": The input is not UTF-8 in " << checked.replaced
              << (checked.replaced == 1 ? " place, which" : " places, which")
              << " became U+FFFD.\n";
        text = text::toUtf8(checked.text);
    }
    if (text.ends_with('\n')) text.erase(text.size() - (text.ends_with("\r\n") ? 2 : 1));
    return text;
}

std::optional<std::string> readText(std::istream& input, const char* verb, std::ostream& error) {
    std::string bytes;
    if (!readBytes(input, largestInput, verb, error, bytes)) return std::nullopt;
    return textOf(std::move(bytes), verb, error);
}

} // namespace nimbe
