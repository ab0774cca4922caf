#pragma once

#include <memory>
#include <utility>

namespace nimbe {

/// Stands for something that goes on while it lives: a pending timer, an
/// observation, an event monitor. Dropping it ends that, also from within the
/// callback that it stands for.
class [[nodiscard]] Token {
public:
    Token() = default;
    explicit Token(std::shared_ptr<void> held) : held(std::move(held)) {}

    [[nodiscard]] bool isSet() const { return held != nullptr; }
    void reset() { held.reset(); }

private:
    std::shared_ptr<void> held;
};

} // namespace nimbe
