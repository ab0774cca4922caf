#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "Foundation/Log.h"
#include "Foundation/Result.h"
#include "NimbeKitCore/History/LocalHistoryKeyStore.h"
#include "NimbeKitCore/History/SymmetricKey.h"

namespace nimbe {

/// Sealing gave no sealed form: the key has the wrong length or memory ran out.
enum class CryptoError { noCombined };

/// Seals the history's lists with AES-256-GCM (NIST SP 800-38D).
///
/// A sealed blob is a 12-byte random nonce, the ciphertext, which is as long as
/// the plaintext, and the 16-byte tag. No other data is authenticated with it. Any
/// thread; the cost grows linearly with the length.
struct LocalHistoryCipher {
    static constexpr std::size_t nonceSize = 12;
    static constexpr std::size_t tagSize = 16;

    [[nodiscard]] static Result<Bytes, CryptoError> encrypt(
        std::span<const std::uint8_t> data, const SymmetricKey& key);

    /// Absent when the blob is too short to be one, was sealed with another key or
    /// has been altered.
    [[nodiscard]] static std::optional<Bytes> decrypt(
        std::span<const std::uint8_t> data, const SymmetricKey& key);

    /// The store's key, made and stored when there is none. Fails only where the
    /// store cannot tell whether there is one, or cannot keep a new one: a key that
    /// is nowhere stored would lose what it seals at the end of the process.
    [[nodiscard]] static Result<SymmetricKey, KeyStoreError> key(
        LocalHistoryKeyStore& from, LogSink& sink);
};

} // namespace nimbe
