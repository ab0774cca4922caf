#pragma once

#include <tl/expected.hpp>

namespace nimbe {

/// A value, or the typed reason why there is none.
template <typename T, typename E>
using Result = tl::expected<T, E>;

template <typename E>
[[nodiscard]] tl::unexpected<std::decay_t<E>> failure(E&& error) {
    return tl::unexpected<std::decay_t<E>>(std::forward<E>(error));
}

} // namespace nimbe
