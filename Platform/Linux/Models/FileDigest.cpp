#include "PlatformModels/FileDigest.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <memory>
#include <openssl/evp.h>
#include <unistd.h>
#include <vector>

#include "PlatformModels/FileDescriptor.h"

namespace nimbe {
namespace {

struct FreeContext {
    void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
};

std::string hexadecimal(const unsigned char* bytes, std::size_t count) {
    static constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    for (std::size_t i = 0; i < count; ++i) {
        text += digits[bytes[i] >> 4];
        text += digits[bytes[i] & 15];
    }
    return text;
}

} // namespace

Result<std::string, std::error_code> sha256OfFile(
    const std::filesystem::path& file, const std::stop_token& stop) {
    constexpr std::size_t pieceBytes = 1 << 18; // a stop is noticed within a millisecond
    const FileDescriptor descriptor(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
    if (!descriptor) return failure(lastError());
    const std::unique_ptr<EVP_MD_CTX, FreeContext> context(EVP_MD_CTX_new());
    bool isRight = context && EVP_DigestInit_ex(context.get(), EVP_sha256(), nullptr) == 1;
    std::vector<std::uint8_t> piece(pieceBytes);
    for (;;) {
        if (stop.stop_requested())
            return failure(std::make_error_code(std::errc::operation_canceled));
        const ssize_t count = ::read(descriptor.get(), piece.data(), piece.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return failure(lastError());
        if (count == 0) break;
        isRight = isRight && EVP_DigestUpdate(
                                 context.get(), piece.data(), static_cast<std::size_t>(count)) == 1;
    }
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned length = 0;
    isRight = isRight && EVP_DigestFinal_ex(context.get(), digest.data(), &length) == 1;
    if (!isRight) return failure(std::make_error_code(std::errc::not_supported));
    return hexadecimal(digest.data(), length);
}

} // namespace nimbe
