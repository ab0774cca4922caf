#pragma once

#include <memory>
#include <optional>

#include "Foundation/HttpClient.h"
#include "Foundation/Log.h"
#include "Foundation/Published.h"
#include "Foundation/ServiceAddress.h"
#include "Foundation/UserDefaults.h"
#include "NimbeApp/DocumentOpener.h"
#include "NimbeKitCore/UpdateManifest.h"

namespace nimbe {

/// Learns of newer builds from the update service, ADDRESS/api/mac/latest. Announces,
/// installs nothing. Main actor.
///
/// Without a base address, or with one that ServiceAddress refuses, nothing is asked. A
/// request that fails, or an answer that is no manifest, leaves what is announced; a
/// manifest that is not newer than the running build takes it back.
class UpdateChecker : public std::enable_shared_from_this<UpdateChecker> {
public:
    inline static const Setting<bool> automaticChecksEnabled{
        "macAutomaticUpdateChecksEnabled", true};
    /// "https://updates.example.org"; absent by default.
    inline static const Setting<std::string> serviceAddress{"updateServiceAddress"};

    static constexpr Seconds interval = 24 * 3600.0;
    static constexpr Seconds deadline = 15;
    static constexpr std::uint64_t largestManifest = 64 * 1024; // bytes

    /// Lent; all outlive the checker.
    struct Platform {
        MainActor& actor;
        HttpClient& http;
        UserDefaults& defaults;
        DocumentOpener& opener;
        LogSink& log;
        BuildStamp build;
    };
    [[nodiscard]] static std::shared_ptr<UpdateChecker> create(Platform platform);

    Published<std::optional<UpdateManifest>> _available;

    /// Checks now and then once a day while it lives.
    void start();
    /// The setting or the address has changed, or the user asks. Replaces a check that
    /// runs. While checks are switched off nothing is asked and nothing is announced.
    void check();
    /// Opens the download page, ADDRESS/mac.
    void openDownloadPage();

private:
    explicit UpdateChecker(Platform platform);

    using Answer = Result<HttpResponse, HttpError>;

    [[nodiscard]] static Task<void> checkDaily(std::weak_ptr<UpdateChecker> weakSelf);
    [[nodiscard]] static Task<void> ask(std::weak_ptr<UpdateChecker> weakSelf, std::string url);
    [[nodiscard]] std::optional<ServiceAddress> address() const;
    void take(const std::optional<Answer>& answer);

    Platform platform;
    Log log;
    TaskHandle daily;
    TaskHandle asking;
};

} // namespace nimbe
