#pragma once

namespace nimbe::terminal {

inline constexpr int standardOutput = 1;
inline constexpr int standardError = 2;

[[nodiscard]] bool isOne(int descriptor);

/// 0 when it is none.
[[nodiscard]] int columns(int descriptor);

} // namespace nimbe::terminal
