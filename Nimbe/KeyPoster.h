#pragma once

namespace nimbe {

/// How a program is told to paste.
enum class PasteChord {
    standard, // the platform's own (Control+V); where no layout has a v, Shift+Insert
    terminal, // Control+Shift+V; where no layout has a v, Shift+Insert
    insert    // Shift+Insert
};

/// Sends keys to whichever window has the keyboard. Main thread; answers at once.
class KeyPoster {
public:
    virtual ~KeyPoster() = default;

    /// Presses and lets go of the chord. Modifiers that the user still holds are lifted
    /// first, so that they do not join it. False: it could not be sent.
    [[nodiscard]] virtual bool post(PasteChord chord) = 0;
};

} // namespace nimbe
