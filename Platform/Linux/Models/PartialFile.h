#pragma once

#include <atomic>
#include <filesystem>
#include <memory>
#include <optional>

#include "Foundation/HttpClient.h"
#include "NimbeEngine/Speech/SpeechModels.h"
#include "PlatformModels/FileDescriptor.h"

namespace nimbe {

/// Bytes of a model that are there, for whoever shows the progress. Any thread.
struct ModelMeter {
    std::atomic<std::uint64_t> done = 0;
};

/// What has come of one file, and takes the rest of it. The receiver's calls come on
/// the client's thread; the others are for before and after.
class PartialFile final : public HttpClient::Receiver {
public:
    PartialFile(
        std::filesystem::path path, SpeechModel::File file, std::shared_ptr<ModelMeter> meter);

    /// More than the whole file is none of it.
    [[nodiscard]] Result<void, SpeechModelError> open();
    [[nodiscard]] bool isWhole() const { return length == file.bytes; }
    [[nodiscard]] std::uint64_t bytes() const { return length; }
    /// Nothing of it can be used.
    void discard();

    [[nodiscard]] bool begin(const HttpResponse& head) override;
    [[nodiscard]] bool receive(std::span<const std::uint8_t> bytes) override;

    /// Bytes came since open().
    [[nodiscard]] bool hasGrown() const { return received > 0; }
    /// The server has no such range: without one it may have the file.
    [[nodiscard]] bool wantsFreshStart() const { return isRangeRefused; }
    /// It may be another file: the answer did not say how long it is.
    [[nodiscard]] bool isDoubtful() const { return isUnannounced && !isWhole(); }
    /// Why an answer was refused.
    [[nodiscard]] const std::optional<SpeechModelError>& error() const { return problem; }

private:
    std::filesystem::path path;
    SpeechModel::File file;
    std::shared_ptr<ModelMeter> meter;
    FileDescriptor descriptor;
    std::uint64_t length = 0;
    std::uint64_t received = 0;
    bool isRangeRefused = false;
    bool isUnannounced = false;
    std::optional<SpeechModelError> problem;

    [[nodiscard]] bool beginWhole(const HttpResponse& head);
    [[nodiscard]] bool beginRange(const HttpResponse& head);
    [[nodiscard]] bool truncate();
    [[nodiscard]] bool refuse(SpeechModelError::Kind kind, std::string detail);
};

} // namespace nimbe
