#include <cstdint>
#include <string_view>

#include "Check.h"
#include "KeyboardShortcuts/Shortcut.h"
#include "KeyboardShortcuts/ShortcutPolicy.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using nimbe::Shortcut;
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const auto shortcut = Shortcut::parse(text);
    if (!shortcut) return 0;
    check(shortcut->text() == text, "what is read is written the same way");
    check(!shortcut->displayName().empty(), "it can be shown");
    (void)nimbe::ShortcutPolicy::decide(*shortcut);
    return 0;
}
