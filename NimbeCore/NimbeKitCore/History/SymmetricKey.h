#pragma once

#include <span>

#include "Foundation/UserDefaults.h"

namespace nimbe {

/// The bytes of a key; wiped from this object's memory when it goes. Any length is held: what
/// is not 32 bytes long seals and opens nothing.
class SymmetricKey {
public:
    static constexpr std::size_t size = 32; // 256 bits

    /// From the system's random numbers.
    [[nodiscard]] static SymmetricKey random();

    explicit SymmetricKey(Bytes bytes) : secret(std::move(bytes)) {}
    SymmetricKey(const SymmetricKey&) = default;
    SymmetricKey(SymmetricKey&&) noexcept = default;
    SymmetricKey& operator=(const SymmetricKey&) = delete;
    SymmetricKey& operator=(SymmetricKey&&) noexcept = delete;
    ~SymmetricKey();

    [[nodiscard]] const Bytes& bytes() const { return secret; }

    friend bool operator==(const SymmetricKey&, const SymmetricKey&) = default;

private:
    Bytes secret;
};

} // namespace nimbe
