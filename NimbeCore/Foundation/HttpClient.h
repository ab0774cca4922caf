#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "Foundation/Result.h"
#include "Foundation/Task.h"

namespace nimbe {

struct HttpError {
    enum class Kind {
        badAddress,  // not an http or https address
        unreachable, // no network, no such host, nobody there who speaks https
        insecure,    // a certificate that is not to be trusted, a redirect from https to http
        timedOut,    // a deadline passed, or no byte came for too long
        brokenOff,   // the connection ended before the answer did
        tooLarge,    // the answer is longer than the caller's limit
        refused,     // the receiver of the body did not want more
        failed
    };
    Kind kind = Kind::failed;
    std::string detail = {}; // for the log
};

struct HttpRequest {
    enum class Method { get, post };
    using Header = std::pair<std::string, std::string>;

    Method method = Method::get;
    std::string url;
    std::vector<Header> headers = {};
    std::string body = {}; // of a post

    Seconds connectDeadline = 10;
    Seconds stallDeadline = 20;           // the longest time without a byte
    std::optional<Seconds> deadline = {}; // for the whole; absent: as long as bytes come
    std::uint64_t largestBody = 1 << 20;  // bytes; more is tooLarge
    bool followsRedirects = false;        // http and https, at most five, never https to http
};

struct HttpResponse {
    int status = 0;
    std::vector<HttpRequest::Header> headers = {}; // names in lower case; of the last hop
    std::string body = {};                         // empty when it went to a receiver

    /// The first of that name, in lower case.
    [[nodiscard]] std::optional<std::string> header(const std::string& name) const;
};

/// Web requests, off the main thread. Main thread; several at once. A request whose
/// task is stopped is given up.
class HttpClient {
public:
    /// Takes an answer as it comes, on the client's own thread; one call at a time
    /// and none after the task has ended or was stopped.
    class Receiver {
    public:
        virtual ~Receiver() = default;
        /// Once, before the first bytes; false ends the request as refused.
        [[nodiscard]] virtual bool begin(const HttpResponse& head) = 0;
        /// False ends the request as refused.
        [[nodiscard]] virtual bool receive(std::span<const std::uint8_t> bytes) = 0;
    };

    virtual ~HttpClient() = default;

    /// Every status is an answer. With a receiver, which must outlive the task, the
    /// body goes there. Ends at the latest by the request's deadlines.
    [[nodiscard]] virtual Task<Result<HttpResponse, HttpError>> send(
        HttpRequest request, Receiver* receiver = nullptr) = 0;
};

} // namespace nimbe
