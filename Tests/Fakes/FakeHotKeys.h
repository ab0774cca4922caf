#pragma once

#include <algorithm>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "KeyboardShortcuts/HotKeys.h"

namespace nimbe {

/// Presses and lets go of chords as the test says.
class FakeHotKeys final : public HotKeys {
public:
    /// By the chord's text: why it cannot be registered.
    std::map<std::string, HotKeyError> refusals;
    std::vector<Shortcut> asked; // every registration that was tried

    /// False: nobody has registered the chord.
    bool press(const Shortcut& shortcut) { return call(shortcut, &Handlers::down); }
    bool release(const Shortcut& shortcut) { return call(shortcut, &Handlers::up); }

    [[nodiscard]] bool isRegistered(const Shortcut& shortcut) const {
        return find(shortcut) != nullptr;
    }
    [[nodiscard]] std::size_t registeredCount() const {
        return static_cast<std::size_t>(std::count_if(registered.begin(), registered.end(),
            [](const auto& entry) { return !entry.second.expired(); }));
    }

    /// A chord that is registered already is taken, by whomever.
    [[nodiscard]] Result<Token, HotKeyError> registerHotKey(
        const Shortcut& shortcut, Handlers handlers) override {
        asked.push_back(shortcut);
        if (const auto refusal = refusals.find(shortcut.text()); refusal != refusals.end())
            return failure(refusal->second);
        if (isRegistered(shortcut)) return failure(HotKeyError::taken);
        auto held = std::make_shared<Handlers>(std::move(handlers));
        registered.emplace_back(shortcut, held);
        return Token(std::move(held));
    }

private:
    std::vector<std::pair<Shortcut, std::weak_ptr<Handlers>>> registered;

    [[nodiscard]] std::shared_ptr<Handlers> find(const Shortcut& shortcut) const {
        for (const auto& [chord, weak] : registered)
            if (auto handlers = weak.lock(); handlers && chord == shortcut) return handlers;
        return nullptr;
    }

    bool call(const Shortcut& shortcut, std::function<void()> Handlers::*handler) {
        const auto handlers = find(shortcut); // it may drop the token that it stands for
        if (!handlers) return false;
        if (const auto& function = (*handlers).*handler) function();
        return true;
    }
};

} // namespace nimbe
