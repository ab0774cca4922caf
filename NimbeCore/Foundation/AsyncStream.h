#pragma once

#include <deque>
#include <memory>
#include <optional>
#include <utility>

#include "Foundation/Task.h"

namespace nimbe {

/// Values that come one after the other until there are no more; one task takes
/// them. Copies share it. Main thread only: other threads post the calls.
template <typename T>
class AsyncStream {
public:
    explicit AsyncStream(MainActor& actor) : state(std::make_shared<State>(actor)) {}

    /// Nothing comes after finish().
    void yield(T value) const {
        if (state->isFinished) return;
        state->values.push_back(std::move(value));
        wake();
    }
    void finish() const {
        state->isFinished = true;
        wake();
    }

    /// The next value; absent at the end, and from then on.
    [[nodiscard]] Task<std::optional<T>> next() const { return next(state); }

private:
    struct State {
        explicit State(MainActor& actor) : actor(actor) {}

        MainActor& actor;
        std::deque<T> values;
        bool isFinished = false;
        std::optional<Completion<bool>> waiting;
    };

    std::shared_ptr<State> state;

    void wake() const {
        if (state->waiting) state->waiting->complete(true);
    }

    static Task<std::optional<T>> next(std::shared_ptr<State> state) {
        while (state->values.empty() && !state->isFinished) {
            Completion<bool> news(state->actor);
            state->waiting = news;
            co_await news;
        }
        state->waiting.reset();
        if (state->values.empty()) co_return std::nullopt;
        std::optional<T> value(std::move(state->values.front()));
        state->values.pop_front();
        co_return value;
    }
};

} // namespace nimbe
