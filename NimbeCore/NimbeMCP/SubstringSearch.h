#pragma once

#include <cstddef>
#include <string_view>

namespace nimbe {

/// Looks for one short text in a very long one. Linear; reads the long one by the block,
/// as fast as it comes from memory.
class SubstringSearch {
public:
    /// Lent; not empty.
    explicit SubstringSearch(std::string_view needle) : needle(needle) {}

    /// Where it stands first in `in` at or after `from`; npos when nowhere.
    [[nodiscard]] std::size_t find(std::string_view in, std::size_t from) const;

private:
    std::string_view needle;
};

} // namespace nimbe
