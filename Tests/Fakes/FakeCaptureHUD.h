#pragma once

#include <memory>
#include <optional>
#include <utility>

#include "NimbeApp/CaptureHUD.h"

namespace nimbe {

/// Keeps what would be seen.
class FakeCaptureHUD final : public CaptureHUD {
public:
    std::optional<RunningApplication::Frame> target; // of the last presentation
    std::optional<Result> result;                    // since then

    [[nodiscard]] bool isPresented() const { return !presented.expired(); }

    [[nodiscard]] Token present(const std::optional<RunningApplication::Frame>& frame) override {
        target = frame;
        result.reset();
        auto held = std::make_shared<int>();
        presented = held;
        return Token(std::move(held));
    }
    void show(Result shown) override { result = std::move(shown); }

private:
    std::weak_ptr<int> presented;
};

} // namespace nimbe
