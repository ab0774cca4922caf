#pragma once

#include "NimbeApp/KeyNames.h"

namespace nimbe {

/// The names of the X server's keymap, over the toolkit's own connection, in the layout
/// that is in use. A scan code is an X key code. Not on X11: no key has a name.
class XkbKeyNames final : public KeyNames {
public:
    [[nodiscard]] std::optional<std::string> name(std::uint32_t scanCode) override;
};

} // namespace nimbe
