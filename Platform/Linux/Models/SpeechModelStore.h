#pragma once

#include <memory>

#include "Foundation/HttpClient.h"
#include "Foundation/Log.h"
#include "Foundation/MainActor.h"
#include "NimbeEngine/Speech/SpeechModels.h"

namespace nimbe {

/// Speech models as folders on disk, see README.md. One process at a time changes a
/// model. Tasks may outlive the store, but none of what it was made with.
class SpeechModelStore final : public SpeechModels {
public:
    struct Folders {
        std::filesystem::path installed; // by the user; made when needed
        std::filesystem::path downloads; // on any file system; may vanish at any time
        std::filesystem::path packaged;  // with the program; only read
    };
    struct Options {
        Seconds connectDeadline = 15;
        Seconds stallDeadline = 30;          // the longest time without a byte
        std::uint64_t spareBytes = 16 << 20; // that stay free on the disk: settings go on working
    };

    SpeechModelStore(MainActor& actor, HttpClient& http, Folders folders, LogSink& log)
        : SpeechModelStore(actor, http, std::move(folders), log, Options()) {}
    SpeechModelStore(
        MainActor& actor, HttpClient& http, Folders folders, LogSink& log, Options options);
    ~SpeechModelStore() override;
    SpeechModelStore(const SpeechModelStore&) = delete;
    SpeechModelStore& operator=(const SpeechModelStore&) = delete;

    [[nodiscard]] std::optional<Place> installed(const SpeechModel& model) override;
    [[nodiscard]] std::uint64_t downloaded(const SpeechModel& model) override;
    [[nodiscard]] Task<Result<void, SpeechModelError>> install(const SpeechModel& model,
        std::string address, std::function<void(Progress)> onProgress) override;
    [[nodiscard]] Result<void, SpeechModelError> remove(const SpeechModel& model) override;
    [[nodiscard]] Task<Result<void, SpeechModelError>> verify(const SpeechModel& model) override;

private:
    struct Core;
    std::shared_ptr<Core> core;
};

} // namespace nimbe
