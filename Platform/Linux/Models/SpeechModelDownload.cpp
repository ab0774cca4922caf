#include "PlatformModels/SpeechModelDownload.h"

#include <limits>

#include "PlatformModels/FileDigest.h"

namespace nimbe {
namespace {

using Kind = SpeechModelError::Kind;

SpeechModelError::Kind kindOf(HttpError::Kind kind, bool hasGrown) {
    switch (kind) {
    case HttpError::Kind::badAddress: return Kind::badAddress;
    case HttpError::Kind::unreachable: return Kind::unreachable;
    case HttpError::Kind::insecure: return Kind::insecure;
    case HttpError::Kind::timedOut: return hasGrown ? Kind::brokenOff : Kind::unreachable;
    case HttpError::Kind::brokenOff: return Kind::brokenOff;
    case HttpError::Kind::tooLarge: return Kind::wrongContent;
    case HttpError::Kind::refused:
    case HttpError::Kind::failed: break;
    }
    return Kind::failed;
}

} // namespace

HttpRequest SpeechModelDownload::request(const SpeechModel::File& file, std::uint64_t start) const {
    HttpRequest made;
    made.url = address + "/" + std::string(file.name);
    if (start > 0) made.headers.emplace_back("Range", "bytes=" + std::to_string(start) + "-");
    made.connectDeadline = deadlines.connect;
    made.stallDeadline = deadlines.stall;
    made.largestBody = std::numeric_limits<std::uint64_t>::max(); // the receiver knows better
    made.followsRedirects = true;
    return made;
}

Task<Result<std::string, std::error_code>> SpeechModelDownload::digest(
    const SpeechModel::File& file) const {
    // With the lock: it must last as long as somebody reads.
    return background.run<Result<std::string, std::error_code>>(
        [path = places.partial(file), held = lock](
            const std::stop_token& stop) { return sha256OfFile(path, stop); });
}

SpeechModelDownload::Outcome SpeechModelDownload::outcome(
    const Result<HttpResponse, HttpError>& answer, const PartialFile& partial) {
    if (partial.error()) return failure(*partial.error());
    if (!answer) {
        const auto kind = kindOf(answer.error().kind, partial.hasGrown());
        return failure(SpeechModelError{kind, answer.error().detail});
    }
    if (partial.isWhole()) return {};
    return failure(SpeechModelError{Kind::brokenOff, "fewer bytes than there should be"});
}

Task<SpeechModelDownload::Outcome> SpeechModelDownload::fetch(
    std::shared_ptr<SpeechModelDownload> download, SpeechModel::File file) {
    for (bool isSecondTry = false;; isSecondTry = true) {
        PartialFile partial(download->places.partial(file), file, download->meter);
        if (auto opened = partial.open(); !opened) co_return opened;
        const bool wasWhole = partial.isWhole();
        if (!wasWhole) {
            auto sending = download->http.send(download->request(file, partial.bytes()), &partial);
            const auto answer = co_await sending;
            if (partial.wantsFreshStart() && !isSecondTry) {
                partial.discard();
                continue;
            }
            auto fetched = outcome(answer, partial);
            if (!fetched && partial.isDoubtful()) partial.discard();
            if (!fetched) co_return fetched;
        }
        auto reading = download->digest(file);
        const auto digest = co_await reading;
        if (!digest) co_return failure(diskError(digest.error(), "reading a download", file.name));
        if (*digest == file.sha256) co_return Outcome();
        partial.discard();
        if (!wasWhole || isSecondTry)
            co_return failure(
                SpeechModelError{Kind::wrongContent, "its digest", std::string(file.name)});
    }
}

} // namespace nimbe
