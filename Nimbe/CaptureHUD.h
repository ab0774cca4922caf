#pragma once

#include <optional>
#include <string>

#include "Foundation/Token.h"
#include "NimbeApp/RunningApplication.h"

namespace nimbe {

/// The recording overlay: level meter and partial text while recording, then a result
/// line. It never takes the keyboard or the pointer. Main thread.
class CaptureHUD {
public:
    enum class Symbol { success, problem };
    struct Result {
        Symbol symbol = Symbol::success;
        std::string message;
        std::optional<std::string> note = {}; // a second, smaller line

        friend bool operator==(const Result&, const Result&) = default;
    };

    // Seconds.
    static constexpr double fadeIn = 0.22;
    static constexpr double fadeOut = 0.18;

    virtual ~CaptureHUD() = default;

    /// Fades in on the screen of that window, without a result; fades out when the token
    /// is dropped, unless it was presented anew.
    [[nodiscard]] virtual Token present(const std::optional<RunningApplication::Frame>& target) = 0;

    /// Shows it in place of meter and text, until it is presented anew.
    virtual void show(Result result) = 0;
};

} // namespace nimbe
