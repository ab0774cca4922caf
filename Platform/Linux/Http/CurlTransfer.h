#pragma once

#include <array>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "Foundation/HttpClient.h"
#include "PlatformHttp/CurlUrl.h"

namespace nimbe {

/// One request, over all its redirects. On the worker's thread, but for stop().
class CurlTransfer {
public:
    using Answer = Result<HttpResponse, HttpError>;
    using Handler = std::function<void(Answer)>;
    using Clock = std::chrono::steady_clock;

    CurlTransfer(HttpRequest request, HttpClient::Receiver* receiver, std::string certificates,
        Handler onEnd);
    ~CurlTransfer();
    CurlTransfer(const CurlTransfer&) = delete;
    CurlTransfer& operator=(const CurlTransfer&) = delete;

    /// Afterwards neither the receiver nor the handler is called; waits for a call
    /// under way. Any thread.
    void stop();
    [[nodiscard]] bool isStopped();

    /// Makes the handle ready for the next hop.
    [[nodiscard]] std::optional<HttpError> prepare();
    [[nodiscard]] void* handle() const { return easy.get(); } // a CURL
    /// With the library's code for the hop; absent: another one follows.
    [[nodiscard]] std::optional<Answer> hopEnded(int code);
    /// Tells the handler.
    void end(Answer answer);

    /// When it is too late for an answer, as things stand.
    [[nodiscard]] Clock::time_point due() const;
    [[nodiscard]] const char* lateness() const;

private:
    struct CleanUp {
        void operator()(void* easy) const;
    };
    struct FreeList {
        void operator()(void* list) const;
    };
    struct Callbacks;

    HttpRequest request;
    HttpClient::Receiver* receiver;
    std::string certificates;
    Handler onEnd;

    std::mutex mutex; // held while the receiver or the handler is called
    bool isGivenUp = false;

    std::unique_ptr<void, CleanUp> easy;
    std::unique_ptr<void, FreeList> headerList; // a curl_slist
    std::array<char, 256> errorText{};          // CURL_ERROR_SIZE
    std::optional<CurlUrl> url;                 // of this hop
    int hops = 0;

    std::optional<Clock::time_point> deadline;
    std::optional<Clock::time_point> lastByte; // absent: not connected yet
    std::int64_t bytesMoved = 0;               // both ways, as the library counts

    HttpResponse response;
    std::size_t headerBytes = 0;
    bool isHeadWhole = false;
    std::uint64_t bodyBytes = 0;
    std::optional<HttpError> problem; // why a callback ended the hop

    void setUpHandle();
    void setUpHop();
    [[nodiscard]] bool setUpHeaders();
    [[nodiscard]] bool takeHeaderLine(std::string_view line);
    [[nodiscard]] bool takeHead();
    [[nodiscard]] bool takeBody(std::span<const std::uint8_t> bytes);
    [[nodiscard]] bool giveUp(HttpError::Kind kind, std::string detail);
    [[nodiscard]] bool isRedirect() const;
    [[nodiscard]] std::optional<HttpError> redirect();
    [[nodiscard]] HttpError errorOf(int code) const;
};

} // namespace nimbe
