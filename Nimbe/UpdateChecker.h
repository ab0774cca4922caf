#pragma once

#include <memory>
#include <optional>

#include "Foundation/HttpClient.h"
#include "Foundation/Log.h"
#include "Foundation/Published.h"
#include "Foundation/UserDefaults.h"
#include "NimbeApp/DocumentOpener.h"
#include "NimbeKitCore/UpdateManifest.h"

namespace nimbe {

/// Learns of newer builds from the update service. Announces, installs nothing. Main
/// actor.
///
/// Without a base address nothing is asked. A request that fails, or an answer that is
/// none, announces nothing new and leaves what is announced.
class UpdateChecker : public std::enable_shared_from_this<UpdateChecker> {
public:
    inline static const Setting<bool> automaticChecksEnabled{
        "macAutomaticUpdateChecksEnabled", true};
    /// "https://updates.example.org"; absent by default.
    inline static const Setting<std::string> serviceAddress{"updateServiceAddress"};

    static constexpr Seconds interval = 24 * 3600;
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
    /// The setting or the address has changed, or the user asks.
    void check();
    /// Opens the download page.
    void openDownloadPage();

private:
    explicit UpdateChecker(Platform platform);

    [[nodiscard]] static Task<void> checkDaily(std::weak_ptr<UpdateChecker> weakSelf);
    [[nodiscard]] static Task<void> ask(std::weak_ptr<UpdateChecker> weakSelf);

    Platform platform;
    Log log;
    TaskHandle daily;
    TaskHandle asking;
};

} // namespace nimbe
