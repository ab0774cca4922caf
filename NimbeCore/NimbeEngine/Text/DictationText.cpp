#include "NimbeEngine/Text/DictationText.h"

#include "Foundation/Text.h"
#include "NimbeEngine/Text/Fillers.h"
#include "NimbeEngine/Text/SpokenCommands.h"

namespace nimbe {

std::string finishedWithoutCleanup(std::string_view raw, bool preserveCase) {
    auto text = text::toUtf16(raw).text;
    formatSpokenCommands(text);
    stripFillers(text, preserveCase);
    return text::toUtf8(text);
}

} // namespace nimbe
