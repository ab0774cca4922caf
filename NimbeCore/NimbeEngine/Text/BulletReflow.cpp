#include "NimbeEngine/Text/BulletReflow.h"

#include "Foundation/Regex.h"

namespace nimbe {

std::string BulletReflow::reflow(std::string_view text) {
    static const Regex leadingDashes(uR"(^(?:-\s+)+)");
    static const Regex dashesBehindSentence(uR"(([.!?:;])\s+(?:-\s+)+)");
    static const Replacement dashOnNewLine(u"$1\n- ");
    static const Regex dashesAtLineStart(uR"((^|\n)\s*(?:-\s+)+)");
    static const Replacement oneDash(u"$1- ");

    static const Regex leadingNumber(uR"(^\d+[.)]\s+)");
    static const Regex numberBehindSentence(uR"(([.!?:;])\s+(\d+)[.)]\s+)");
    static const Replacement numberOnNewLine(u"$1\n$2. ");
    static const Regex numberAtLineStart(uR"((^|\n)\s*(\d+)\)\s+)");
    static const Replacement numberWithStop(u"$1$2. ");

    const auto converted = text::toUtf16(text).text;
    std::u16string list(text::trimmed(converted));
    if (leadingDashes.firstMatch(list)) {
        replaceAll(list, dashesBehindSentence, dashOnNewLine);
        replaceAll(list, dashesAtLineStart, oneDash);
        return text::toUtf8(list);
    }
    if (leadingNumber.firstMatch(list)) {
        replaceAll(list, numberBehindSentence, numberOnNewLine);
        replaceAll(list, numberAtLineStart, numberWithStop);
        return text::toUtf8(list);
    }
    return text::toUtf8(converted);
}

} // namespace nimbe
