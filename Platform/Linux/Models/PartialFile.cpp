#include "PlatformModels/PartialFile.h"

#include <cerrno>
#include <charconv>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

#include "PlatformModels/ModelPlaces.h"

namespace nimbe {
namespace {

using Kind = SpeechModelError::Kind;

/// "bytes FIRST-LAST/TOTAL", the total may be "*".
struct ContentRange {
    std::uint64_t first = 0;
    std::uint64_t last = 0;
    std::optional<std::uint64_t> total = {};

    [[nodiscard]] static std::optional<ContentRange> parse(std::string_view text) {
        if (!text.starts_with("bytes ")) return std::nullopt;
        text.remove_prefix(6);
        ContentRange range;
        if (!take(text, range.first) || !takeSign(text, '-') || !take(text, range.last) ||
            !takeSign(text, '/'))
            return std::nullopt;
        if (text == "*") return range;
        range.total = 0;
        return take(text, *range.total) && text.empty() ? std::optional(range) : std::nullopt;
    }

private:
    static bool take(std::string_view& text, std::uint64_t& number) {
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
        text.remove_prefix(static_cast<std::size_t>(end - text.data()));
        return error == std::errc();
    }
    static bool takeSign(std::string_view& text, char sign) {
        if (!text.starts_with(sign)) return false;
        text.remove_prefix(1);
        return true;
    }
};

} // namespace

PartialFile::PartialFile(
    std::filesystem::path path, SpeechModel::File file, std::shared_ptr<ModelMeter> meter)
    : path(std::move(path)), file(file), meter(std::move(meter)) {}

Result<void, SpeechModelError> PartialFile::open() {
    descriptor = FileDescriptor(
        ::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOFOLLOW, 0600));
    struct stat found {};
    if (!descriptor || ::fstat(descriptor.get(), &found) != 0)
        return failure(diskError(lastError(), "opening a download", file.name));
    length = static_cast<std::uint64_t>(found.st_size);
    if (length > file.bytes) {
        length = 0;
        if (::ftruncate(descriptor.get(), 0) != 0)
            return failure(diskError(lastError(), "emptying a download", file.name));
    }
    return {};
}

void PartialFile::discard() {
    descriptor = FileDescriptor();
    ::unlink(path.c_str());
    meter->done -= std::exchange(length, 0);
}

bool PartialFile::begin(const HttpResponse& head) {
    switch (head.status) {
    case 200: return beginWhole(head);
    case 206: return beginRange(head);
    case 404:
    case 410: return refuse(Kind::notThere, "status " + std::to_string(head.status));
    case 416: isRangeRefused = length > 0; break;
    default: break;
    }
    return refuse(Kind::refused, "status " + std::to_string(head.status));
}

/// Also of a server that knows no ranges.
bool PartialFile::beginWhole(const HttpResponse& head) {
    // Before anything is thrown away: it may be the page of a hotel's network.
    const auto told = head.header("content-length");
    if (told && *told != std::to_string(file.bytes))
        return refuse(Kind::wrongContent, *told + " bytes announced");
    if (!told && length > 0) return refuse(Kind::wrongContent, "no length announced");
    isUnannounced = !told;
    return truncate();
}

bool PartialFile::beginRange(const HttpResponse& head) {
    const auto text = head.header("content-range").value_or("");
    const auto range = ContentRange::parse(text);
    if (range && range->total && *range->total != file.bytes)
        return refuse(Kind::wrongContent, "range \"" + text + "\"");
    isRangeRefused = length > 0 && (!range || range->first != length || range->last >= file.bytes);
    if (!range || isRangeRefused || range->first != length)
        return refuse(Kind::failed, "range \"" + text + "\"");
    return true;
}

bool PartialFile::truncate() {
    if (::ftruncate(descriptor.get(), 0) != 0) {
        problem = diskError(lastError(), "emptying a download", file.name);
        return false;
    }
    meter->done -= std::exchange(length, 0);
    return true;
}

bool PartialFile::receive(std::span<const std::uint8_t> bytes) {
    if (bytes.size() > file.bytes - length) {
        (void)truncate();
        return refuse(Kind::wrongContent, "more than " + std::to_string(file.bytes) + " bytes");
    }
    while (!bytes.empty()) {
        const ssize_t count = ::write(descriptor.get(), bytes.data(), bytes.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) {
            problem = diskError(lastError(), "writing a download", file.name);
            return false;
        }
        const auto written = static_cast<std::size_t>(count);
        bytes = bytes.subspan(written);
        length += written;
        received += written;
        meter->done += written;
    }
    return true;
}

bool PartialFile::refuse(Kind kind, std::string detail) {
    problem = SpeechModelError{kind, std::move(detail), std::string(file.name)};
    return false;
}

} // namespace nimbe
