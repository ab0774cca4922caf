#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "Foundation/Log.h"
#include "Foundation/MainActor.h"
#include "Foundation/Published.h"
#include "PlatformLanguageModel/ModelSearch.h"

namespace nimbe {

/// What is known of the model server of the settings: looked for in the background, one
/// search at a time, and corrected by what requests meet with. Main thread.
class KnownServer : public std::enable_shared_from_this<KnownServer> {
public:
    using Availability = LanguageModel::Availability;

    struct Platform {
        MainActor& actor;
        HttpClient& http;
        UserDefaults& defaults;
        Log log;
        std::vector<int> ports;
        Seconds remembered = 10;   // what is older is asked again
        Seconds probeDeadline = 2; // of each server
    };
    /// What is older is not known any more.
    static constexpr Seconds longestRemembered = 60;

    [[nodiscard]] static std::shared_ptr<KnownServer> create(Platform platform);
    ~KnownServer();
    KnownServer(const KnownServer&) = delete;
    KnownServer& operator=(const KnownServer&) = delete;

    /// Unknown when what was learned is too old or of other settings.
    [[nodiscard]] Published<Availability>& availability();
    /// Looks anew in the background where what is known is not of just now.
    void refresh();
    /// Looks anew, or joins a search under way, and waits for it.
    [[nodiscard]] static Task<Availability> check(std::weak_ptr<KnownServer> weakSelf);
    /// Waits only where refresh() would look.
    [[nodiscard]] static Task<Availability> recent(std::weak_ptr<KnownServer> weakSelf);
    /// The server to ask by the settings of now; absent: none is known that has the model.
    [[nodiscard]] std::optional<ModelServer> server();

    // How a request to a server ended; of no account when another one is known by now.
    void answered(const ModelServer& asked);
    void loads(const ModelServer& asked);
    void isGone(const ModelServer& asked);
    /// From now on, to be found by a search is not enough: it has to answer a request.
    void isSilent(const ModelServer& asked);
    /// It may not be as it was.
    void doubt() { learnedAt.reset(); }

private:
    explicit KnownServer(Platform platform);

    Platform platform;
    Published<Availability> published;
    std::optional<ModelServer> known;
    ModelSearch knownBy;
    std::optional<Seconds> learnedAt; // absent: long ago
    Seconds forgottenAt = 0;          // when what is known is too old
    std::optional<ModelServer> silent;

    ModelSearch searchedFor;
    std::vector<Completion<bool>> waiting;
    TaskHandle searching;

    [[nodiscard]] bool isRecent(const ModelSearch& search) const;
    void forgetOld();
    void search(ModelSearch next);
    void learn(ModelSearch search, ModelServer found);
    void set(LanguageModel::Availability::Kind kind);
    [[nodiscard]] bool isKnown(const ModelServer& asked) const;
    static Task<void> find(std::weak_ptr<KnownServer> weakSelf, ModelSearch search);
};

} // namespace nimbe
