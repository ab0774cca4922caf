#pragma once

#include <string>
#include <vector>

#include "Support/TestHttpServer.h"
#include "Support/TestModelServerRequest.h"

namespace nimbe {

/// The answer of a model, in the form of a dialect.
class TestModelServerAnswer {
public:
    std::string reasoning = {};
    std::string content;
    std::string finishReason = "stop"; // empty: the answer ends without one

    /// What `options.model` writes and the server's limits leave of it.
    [[nodiscard]] static TestModelServerAnswer of(
        const TestModelServerOptions& options, const TestModelServerRequest& request);

    [[nodiscard]] TestHttpServer::Page page(
        const TestModelServerOptions& options, const TestModelServerRequest& request) const;
    /// The same without a head.
    [[nodiscard]] std::string whole(
        const TestModelServerOptions& options, const TestModelServerRequest& request) const;
    /// Event by event, each with the blank line after it.
    [[nodiscard]] std::vector<std::string> events(
        const TestModelServerOptions& options, const TestModelServerRequest& request) const;
};

} // namespace nimbe
