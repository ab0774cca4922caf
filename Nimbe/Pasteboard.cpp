#include "NimbeApp/Pasteboard.h"

namespace nimbe {
namespace {

Bytes bytes(const std::string& text) {
    return {text.begin(), text.end()};
}

} // namespace

PasteboardContents PasteboardContents::plainText(const std::string& text) {
    PasteboardContents contents;
    // UTF8_STRING is what toolkits ask for first; the others are asked for by web
    // browsers and by old programs.
    for (const char* type :
        {"UTF8_STRING", "text/plain;charset=utf-8", "text/plain", "STRING", "TEXT"})
        contents.forms.push_back({type, bytes(text), {}, 8});
    return contents;
}

PasteboardContents PasteboardContents::concealedText(const std::string& text) {
    auto contents = plainText(text);
    contents.forms.push_back({transientType, {}, {}, 8});
    contents.forms.push_back({concealedType, {}, {}, 8});
    contents.forms.push_back({passwordManagerHint, bytes("secret"), {}, 8});
    return contents;
}

} // namespace nimbe
