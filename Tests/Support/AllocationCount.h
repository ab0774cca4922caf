#pragma once

#include <cstddef>

namespace nimbe {

/// Counts what this thread takes from the heap, by new or malloc, while it lives. In
/// the programs that link its source.
class AllocationCount {
public:
    AllocationCount();
    ~AllocationCount();
    AllocationCount(const AllocationCount&) = delete;
    AllocationCount& operator=(const AllocationCount&) = delete;

    [[nodiscard]] std::size_t value() const;
};

} // namespace nimbe
