#pragma once

#include <memory>
#include <optional>

#include "Foundation/HttpClient.h"
#include "Foundation/Log.h"
#include "Foundation/UserDefaults.h"
#include "NimbeEngine/Transform/PromptRegistry.h"

namespace nimbe {

/// Brings newer prompts from the prompt service, ADDRESS/api/prompts. Main thread.
/// Silent: what goes wrong is in the log only, and the prompts in force stay.
class PromptFetcher : public std::enable_shared_from_this<PromptFetcher> {
public:
    /// "https://prompts.example.org", or http on this machine; absent by default, and then
    /// nobody is asked.
    inline static const Setting<std::string> serviceAddress{"promptServiceAddress"};

    static constexpr Seconds interval = 24 * 3600.0;
    static constexpr Seconds deadline = 15;

    /// Lent; all outlive the fetcher.
    struct Platform {
        MainActor& actor;
        HttpClient& http;
        UserDefaults& defaults;
        PromptRegistry& registry;
        LogSink& log;
    };
    [[nodiscard]] static std::shared_ptr<PromptFetcher> create(const Platform& platform);

    /// Fetches now and then once a day while it lives.
    void start();
    /// Fetches now, in place of a request that runs.
    void fetch();

private:
    explicit PromptFetcher(const Platform& platform);

    using Answer = Result<HttpResponse, HttpError>;

    [[nodiscard]] static Task<void> fetchDaily(std::weak_ptr<PromptFetcher> weakSelf);
    [[nodiscard]] static Task<void> ask(std::weak_ptr<PromptFetcher> weakSelf, std::string url);
    [[nodiscard]] std::optional<std::string> address() const;
    void take(const std::optional<Answer>& answer);

    Platform platform;
    Log log;
    TaskHandle daily;
    TaskHandle asking;
};

} // namespace nimbe
