#pragma once

#include <string>
#include <string_view>

namespace nimbe {

struct EmailBodyFormatter {
    /// Takes off a greeting at the start ("Hi Alex,") and a sign-off on a line of
    /// its own at the end ("Thanks," with at most a name line behind it).
    [[nodiscard]] static std::string stripGreetingAndSignOff(std::string_view body);
};

} // namespace nimbe
