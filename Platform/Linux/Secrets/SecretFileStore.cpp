#include "PlatformSecrets/SecretFileStore.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

#include "PlatformSecrets/Base64.h"
#include "PlatformStorage/AtomicFile.h"

namespace nimbe {
namespace {

using Kind = KeyStoreError::Kind;

tl::unexpected<KeyStoreError> failed(const char* step, int number) {
    const auto reason = std::generic_category().message(number);
    return failure(KeyStoreError{Kind::failed, std::string(step) + ": " + reason});
}

struct Descriptor {
    int number;
    ~Descriptor() {
        if (number >= 0) ::close(number);
    }
};

} // namespace

SecretFileStore::SecretFileStore(std::filesystem::path folder, LogSink& sink)
    : folder(std::move(folder)), log(sink, "history-crypto") {}

std::filesystem::path SecretFileStore::fileOf(const Item& item) const {
    return folder / (item.service + "." + item.account);
}

Result<std::optional<Bytes>, KeyStoreError> SecretFileStore::read(const Item& item) {
    // Not blocking: a named pipe in the file's place must not stop the program.
    const Descriptor file{::open(fileOf(item).c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)};
    if (file.number < 0 && errno == ENOENT) return std::optional<Bytes>();
    if (file.number < 0) return failed("opening the key file", errno);
    struct stat status {};
    if (::fstat(file.number, &status) != 0) return failed("asking the key file", errno);
    // Neither read nor closed to others: it may be a folder, or a device behind a link.
    if (!S_ISREG(status.st_mode))
        return failure(KeyStoreError{Kind::damaged, "the key file is no regular file"});
    constexpr mode_t others = S_IRWXG | S_IRWXO;
    if ((status.st_mode & others) != 0 && ::fchmod(file.number, S_IRUSR | S_IWUSR) == 0)
        log.warning("local history key: the key file was open to others, now it is not");

    std::array<char, 4096> buffer{};
    const ssize_t count = ::read(file.number, buffer.data(), buffer.size());
    if (count < 0) return failed("reading the key file", errno);
    std::string_view text(buffer.data(), static_cast<std::size_t>(count));
    // An editor or a shell may have put a line end there.
    text = text.substr(0, text.find_last_not_of(" \t\r\n") + 1);
    auto secret = base64Decoded(text);
    if (!secret || secret->empty())
        return failure(KeyStoreError{Kind::damaged, "the key file is not base64"});
    return secret;
}

Result<SecretStore::Added, KeyStoreError> SecretFileStore::add(
    const Item& item, const Bytes& secret) {
    const std::string text = base64Encoded(secret) + "\n";
    const auto error = AtomicFile::write(fileOf(item), Bytes(text.begin(), text.end()),
        std::filesystem::perms(0600), AtomicFile::Existing::keep);
    if (error == std::errc::file_exists) return Added::duplicate;
    if (error) return failed("writing the key file", error.value());
    return Added::stored;
}

} // namespace nimbe
