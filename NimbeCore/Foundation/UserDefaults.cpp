#include "Foundation/UserDefaults.h"

#include <algorithm>

#include "Foundation/Text.h"

namespace nimbe {

bool isStorable(const UserDefaults::Value& value) {
    if (const auto* string = std::get_if<std::string>(&value)) return text::isValidUtf8(*string);
    if (const auto* strings = std::get_if<std::vector<std::string>>(&value))
        return std::all_of(strings->begin(), strings->end(),
            [](const std::string& string) { return text::isValidUtf8(string); });
    return true;
}

} // namespace nimbe
