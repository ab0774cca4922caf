#include "NimbeEngine/Text/EmailBodyFormatter.h"

#include "Foundation/Regex.h"

namespace nimbe {

std::string EmailBodyFormatter::stripGreetingAndSignOff(std::string_view body) {
    static const Regex greeting(
        uR"(^(?:hi|hey|hello|dear)\b(?:\s+[\p{L}.'-]{1,30}){0,2}\s*[,:]\s*)",
        Regex::Case::insensitive);
    static const Regex signOff(
        uR"(\n[ \t]*(?:thanks|thank you|best(?:\s+regards)?|regards|cheers|sincerely)[,.!]?[ \t]*(?:\n[ \t]*[^\s.!?\n]+(?:[ \t]+[^\s.!?\n]+){0,2}[ \t]*)?$)",
        Regex::Case::insensitive);

    auto text = text::toUtf16(body).text;
    text::trim(text);
    if (const auto match = greeting.firstMatch(text)) {
        text.erase(0, (*match)[0]->end);
        text::trim(text);
        text::capitalizeFirstLetterIfLowerCase(text);
    }
    if (const auto match = signOff.firstMatch(text)) {
        text.resize((*match)[0]->begin);
        text::trim(text);
    }
    return text::toUtf8(text);
}

} // namespace nimbe
