#pragma once

#include <memory>
#include <string>

#include "PlatformModels/Background.h"
#include "PlatformModels/ModelSwitch.h"
#include "PlatformModels/PartialFile.h"

namespace nimbe {

/// Fetches the files of one model, one after the other, under its lock. Main thread.
class SpeechModelDownload {
public:
    using Outcome = Result<void, SpeechModelError>;

    struct Deadlines {
        Seconds connect = 15;
        Seconds stall = 30; // the longest time without a byte
    };

    HttpClient& http;
    Background& background;
    ModelPlaces places;
    ModelLock lock;
    std::string address; // of the model's folder on the server, without a slash at its end
    Deadlines deadlines;
    std::shared_ptr<ModelMeter> meter;

    /// Brings the rest of one file and compares its digest. A whole file that is there
    /// already and wrong is fetched anew; one that has just come and is wrong is removed.
    [[nodiscard]] static Task<Outcome> fetch(
        std::shared_ptr<SpeechModelDownload> download, SpeechModel::File file);

private:
    [[nodiscard]] HttpRequest request(const SpeechModel::File& file, std::uint64_t start) const;
    [[nodiscard]] Task<Result<std::string, std::error_code>> digest(
        const SpeechModel::File& file) const;
    [[nodiscard]] static Outcome outcome(
        const Result<HttpResponse, HttpError>& answer, const PartialFile& partial);
};

} // namespace nimbe
