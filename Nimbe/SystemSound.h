#pragma once

#include <string_view>

namespace nimbe {

/// The desktop's short sounds. Main thread; returns at once, and never fails towards
/// the caller.
class SystemSound {
public:
    static constexpr std::string_view pop = "Pop";

    virtual ~SystemSound() = default;
    virtual void play(std::string_view name) = 0;
};

} // namespace nimbe
