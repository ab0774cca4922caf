#pragma once

#include <functional>
#include <vector>

#include "NimbeApp/KeyPoster.h"

namespace nimbe {

/// Keeps the chords that it was asked for.
class FakeKeyPoster final : public KeyPoster {
public:
    bool works = true;
    std::vector<PasteChord> posted; // those that were sent
    int refused = 0;
    /// What the program in front does with a chord, within the call.
    std::function<void(PasteChord)> onPost;

    [[nodiscard]] bool post(PasteChord chord) override {
        if (!works) {
            ++refused;
            return false;
        }
        posted.push_back(chord);
        if (onPost) onPost(chord);
        return true;
    }
};

} // namespace nimbe
