#pragma once

namespace nimbe {

/// Whether the program starts, without a window, when the user logs in. Main thread.
class LoginItem {
public:
    virtual ~LoginItem() = default;

    [[nodiscard]] virtual bool isEnabled() const = 0;
    /// False: it could not be changed.
    [[nodiscard]] virtual bool setEnabled(bool isEnabled) = 0;
};

} // namespace nimbe
