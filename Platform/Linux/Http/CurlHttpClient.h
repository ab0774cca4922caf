#pragma once

#include <memory>

#include "Foundation/HttpClient.h"
#include "Foundation/MainActor.h"

namespace nimbe {

class CurlWorker;

/// Requests by libcurl, on a thread of its own that begins with the first of them.
class CurlHttpClient final : public HttpClient {
public:
    struct Options {
        std::string certificates = {}; // a PEM file of whom to trust; empty: as the system does
    };

    explicit CurlHttpClient(MainActor& actor) : CurlHttpClient(actor, Options()) {}
    CurlHttpClient(MainActor& actor, Options options);
    /// Requests that still run end as failed; no receiver is called any more.
    ~CurlHttpClient() override;
    CurlHttpClient(const CurlHttpClient&) = delete;
    CurlHttpClient& operator=(const CurlHttpClient&) = delete;

    [[nodiscard]] Task<Result<HttpResponse, HttpError>> send(
        HttpRequest request, Receiver* receiver) override;

private:
    MainActor& actor;
    Options options;
    std::shared_ptr<CurlWorker> worker;
};

} // namespace nimbe
