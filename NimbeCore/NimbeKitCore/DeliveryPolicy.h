#pragma once

namespace nimbe {

/// What becomes of a finished text.
struct DeliveryPolicy {
    enum class Outcome { inserted, saved, copied };

    /// A copy that the user does not want is only saved.
    [[nodiscard]] static constexpr Outcome outcome(Outcome proposed, bool isAutoCopyOn) {
        return proposed == Outcome::copied && !isAutoCopyOn ? Outcome::saved : proposed;
    }
};

} // namespace nimbe
