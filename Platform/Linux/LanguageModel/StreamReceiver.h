#pragma once

#include <mutex>
#include <string>

#include "Foundation/AsyncStream.h"
#include "Foundation/HttpClient.h"

namespace nimbe {

/// Hands the bytes of an answer over to the main thread: news tells it, once, that there
/// are some to take.
class StreamReceiver final : public HttpClient::Receiver {
public:
    struct Taken {
        HttpResponse head; // status 0: none yet
        std::string bytes; // since the last time
        bool isTooMuch = false;
    };

    /// `mostPending`: bytes that may wait to be taken; more end the request.
    StreamReceiver(MainActor& actor, AsyncStream<bool> news, std::size_t mostPending)
        : actor(actor), news(std::move(news)), mostPending(mostPending) {}

    [[nodiscard]] bool begin(const HttpResponse& head) override;
    [[nodiscard]] bool receive(std::span<const std::uint8_t> bytes) override;

    /// Main thread.
    [[nodiscard]] Taken take();

private:
    MainActor& actor;
    const AsyncStream<bool> news;
    const std::size_t mostPending;

    std::mutex mutex;
    Taken pending;
    bool isTold = false;
};

} // namespace nimbe
