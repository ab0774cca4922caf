#pragma once

#include <memory>
#include <vector>

#include "NimbeApp/AccessibilityTrust.h"
#include "NimbeApp/ApplicationLaunch.h"
#include "NimbeApp/KeyEventSource.h"

namespace nimbe {

/// Sends what the test scripts to whoever is interested.
class FakeKeyEventSource final : public KeyEventSource {
public:
    [[nodiscard]] Token monitor(Scope scope, Interest interest, Handler handler) override;

    void changeFlags(ModifierFlags flags, Scope scope = Scope::otherApplications);
    void keyDown(Scope scope = Scope::otherApplications);

    /// Monitors that are still installed.
    [[nodiscard]] std::size_t monitorCount() const;

private:
    struct Monitor {
        Scope scope;
        Interest interest;
        std::weak_ptr<Handler> handler;
    };
    std::vector<Monitor> monitors;

    void send(const KeyEvent& event, Scope scope);
};

class FakeAccessibilityTrust final : public AccessibilityTrust {
public:
    bool trusted = true;
    mutable int asked = 0;

    [[nodiscard]] bool isTrusted() const override {
        ++asked;
        return trusted;
    }
};

class FakeApplicationLaunch final : public ApplicationLaunch {
public:
    bool finished = true;

    [[nodiscard]] bool isFinished() const override { return finished; }
    [[nodiscard]] Token observeFinish(std::function<void()> handler) override {
        auto held = std::make_shared<std::function<void()>>(std::move(handler));
        observers.push_back(held);
        return Token(std::move(held));
    }

    void finish() {
        finished = true;
        for (const auto& observer : observers)
            if (const auto handler = observer.lock()) (*handler)();
    }

    std::vector<std::weak_ptr<std::function<void()>>> observers;
};

} // namespace nimbe
