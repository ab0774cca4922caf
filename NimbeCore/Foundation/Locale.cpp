#include "Foundation/Locale.h"

#include <cstdlib>

namespace nimbe {
namespace {

Locale fromEnvironment(const char* category) {
    for (const char* name : {"LC_ALL", category, "LANG"}) {
        const char* value = std::getenv(name);
        if (!value || *value == '\0') continue;
        // "de_DE.UTF-8@euro": the encoding and the modifier are no matter of ICU's.
        const std::string text(value);
        const auto language = text.substr(0, text.find_first_of(".@"));
        if (language.empty() || language == "C" || language == "POSIX") break;
        return {language};
    }
    return {"en_US_POSIX"};
}

} // namespace

Locale Locale::forTime() {
    return fromEnvironment("LC_TIME");
}

Locale Locale::forText() {
    return fromEnvironment("LC_CTYPE");
}

} // namespace nimbe
