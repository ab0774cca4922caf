#include "NimbeKitCore/History/LocalHistoryCipher.h"

#include <algorithm>
#include <memory>
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/rand.h>

namespace nimbe {
namespace {

struct FreeContext {
    void operator()(EVP_CIPHER_CTX* context) const { EVP_CIPHER_CTX_free(context); }
};
using Context = std::unique_ptr<EVP_CIPHER_CTX, FreeContext>;

/// The library counts in int; longer data goes through it in pieces.
constexpr std::size_t pieceSize = std::size_t{1} << 30;

using Update = int (*)(EVP_CIPHER_CTX*, unsigned char*, int*, const unsigned char*, int);

bool run(
    Update update, EVP_CIPHER_CTX* context, std::span<const std::uint8_t> from, std::uint8_t* to) {
    while (!from.empty()) {
        const auto piece = from.first(std::min(from.size(), pieceSize));
        int written = 0;
        if (update(context, to, &written, piece.data(), static_cast<int>(piece.size())) != 1)
            return false;
        to += written;
        from = from.subspan(piece.size());
    }
    return true;
}

} // namespace

SymmetricKey SymmetricKey::random() {
    Bytes bytes(size);
    // Without random numbers there is nothing safe left to do.
    if (RAND_priv_bytes(bytes.data(), static_cast<int>(bytes.size())) != 1) std::abort();
    return SymmetricKey(std::move(bytes));
}

SymmetricKey::~SymmetricKey() {
    OPENSSL_cleanse(secret.data(), secret.size());
}

Result<Bytes, CryptoError> LocalHistoryCipher::encrypt(
    std::span<const std::uint8_t> data, const SymmetricKey& key) {
    const auto refused = failure(CryptoError::noCombined);
    if (key.bytes().size() != SymmetricKey::size) return refused;
    Bytes sealed(nonceSize + data.size() + tagSize);
    std::uint8_t* const nonce = sealed.data();
    std::uint8_t* const text = nonce + nonceSize;
    std::uint8_t* const tag = text + data.size();
    int none = 0;
    const Context context(EVP_CIPHER_CTX_new());
    const bool isSealed =
        context && RAND_bytes(nonce, nonceSize) == 1 &&
        EVP_EncryptInit_ex(context.get(), EVP_aes_256_gcm(), nullptr, key.bytes().data(), nonce) ==
            1 &&
        run(EVP_EncryptUpdate, context.get(), data, text) &&
        EVP_EncryptFinal_ex(context.get(), tag, &none) == 1 &&
        EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_AEAD_GET_TAG, tagSize, tag) == 1;
    if (!isSealed) return refused;
    return sealed;
}

std::optional<Bytes> LocalHistoryCipher::decrypt(
    std::span<const std::uint8_t> data, const SymmetricKey& key) {
    if (data.size() < nonceSize + tagSize || key.bytes().size() != SymmetricKey::size)
        return std::nullopt;
    const auto text = data.subspan(nonceSize, data.size() - nonceSize - tagSize);
    Bytes tag(data.end() - tagSize, data.end());
    Bytes opened(text.size());
    int none = 0;
    const Context context(EVP_CIPHER_CTX_new());
    const bool isOpened =
        context &&
        EVP_DecryptInit_ex(
            context.get(), EVP_aes_256_gcm(), nullptr, key.bytes().data(), data.data()) == 1 &&
        run(EVP_DecryptUpdate, context.get(), text, opened.data()) &&
        EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_AEAD_SET_TAG, tagSize, tag.data()) == 1 &&
        EVP_DecryptFinal_ex(context.get(), tag.data(), &none) == 1;
    if (!isOpened) return std::nullopt;
    return opened;
}

Result<SymmetricKey, KeyStoreError> LocalHistoryCipher::key(
    LocalHistoryKeyStore& from, LogSink& sink) {
    auto loaded = from.loadKeyData();
    if (!loaded) return failure(loaded.error());
    if (*loaded) return SymmetricKey(std::move(**loaded));

    const auto fresh = SymmetricKey::random();
    auto inForce = from.saveKeyData(fresh.bytes());
    if (!inForce) return failure(inForce.error());
    Log(sink, "history-crypto").info("local history key: ensured a device-only key");
    return SymmetricKey(std::move(*inForce));
}

} // namespace nimbe
