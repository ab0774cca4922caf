#pragma once

namespace nimbe {

/// Whether the desktop lets this program see and send keys. The user may grant
/// it while the program runs.
class AccessibilityTrust {
public:
    virtual ~AccessibilityTrust() = default;

    /// Answers at once. Main thread.
    [[nodiscard]] virtual bool isTrusted() const = 0;
};

} // namespace nimbe
