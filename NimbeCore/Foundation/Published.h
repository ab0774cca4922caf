#pragma once

#include <algorithm>
#include <concepts>
#include <functional>
#include <memory>
#include <vector>

#include "Foundation/Token.h"

namespace nimbe {

/// A value that others watch. Main thread only.
///
/// Observers are told of every change, in the order in which they came, within
/// the call that makes it; a value equal to the one before is no change. They
/// may observe, stop observing, set the value or destroy its owner: each is
/// always told the newest value, and one that came during the change waits for
/// the next.
template <typename T>
class Published {
public:
    using Observer = std::function<void(const T&)>;

    explicit Published(T initial = {}) : state(std::make_shared<State>()) {
        state->value = std::move(initial);
    }
    Published(const Published&) = delete;
    Published& operator=(const Published&) = delete;

    [[nodiscard]] const T& get() const { return state->value; }

    /// Only the owner of the field writes it.
    void set(T value) {
        if constexpr (std::equality_comparable<T>)
            if (value == state->value) return;
        state->value = std::move(value);
        const auto kept = state; // an observer may destroy this
        const auto told = kept->observers;
        for (const auto& weakObserver : told)
            if (const auto observer = weakObserver.lock()) (*observer)(kept->value);
    }

    /// Until the token is dropped.
    [[nodiscard]] Token observe(Observer observer) {
        auto& observers = state->observers;
        std::erase_if(observers, [](const auto& gone) { return gone.expired(); });
        auto held = std::make_shared<Observer>(std::move(observer));
        observers.push_back(held);
        return Token(std::move(held));
    }

private:
    struct State {
        T value{};
        std::vector<std::weak_ptr<Observer>> observers;
    };
    std::shared_ptr<State> state;
};

} // namespace nimbe
