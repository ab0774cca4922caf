#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "Foundation/MainActor.h"
#include "NimbeApp/Workspace.h"

namespace nimbe {

/// A desktop of which the test says who is in front and how the window manager obeys.
/// Lives as long as the actor runs.
class FakeWorkspace final : public Workspace {
public:
    explicit FakeWorkspace(MainActor& actor) : actor(actor) {}

    /// Set it so for what nobody is told of; see bringForward().
    std::optional<RunningApplication> front;
    /// From being asked until the application is in front; 0: at the next turn. Absent: it
    /// never comes.
    std::optional<Seconds> activationDelay = 0.0;
    int ownPid = 1;

    std::vector<RunningApplication> activated; // who was asked to come to the front
    int frontAsked = 0;

    /// The user (or a window manager that obeys) brings it to the front: observers hear of
    /// it within the call.
    void bringForward(const RunningApplication& application) {
        front = application;
        const auto told = observers;
        for (const auto& weak : told)
            if (const auto observer = weak.lock()) (*observer)(application);
    }

    /// Observers that are still installed.
    [[nodiscard]] std::size_t observerCount() const {
        std::size_t count = 0;
        for (const auto& observer : observers) count += observer.expired() ? 0U : 1U;
        return count;
    }

    [[nodiscard]] std::optional<RunningApplication> frontmostApplication() override {
        ++frontAsked;
        return front;
    }

    [[nodiscard]] Token observeActivation(
        std::function<void(const RunningApplication&)> handler) override {
        auto held = std::make_shared<Observer>(std::move(handler));
        observers.push_back(held);
        return Token(std::move(held));
    }

    void activate(const RunningApplication& application) override {
        activated.push_back(application);
        if (!activationDelay) return;
        coming.push_back(
            actor.schedule(*activationDelay, [this, application] { bringForward(application); }));
    }

    [[nodiscard]] bool isThisApplication(const RunningApplication& application) const override {
        return application.pid == ownPid;
    }

private:
    using Observer = std::function<void(const RunningApplication&)>;

    MainActor& actor;
    std::vector<std::weak_ptr<Observer>> observers;
    std::vector<Token> coming;
};

} // namespace nimbe
