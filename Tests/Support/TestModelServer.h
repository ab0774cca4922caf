#pragma once

#include <functional>
#include <mutex>
#include <string>

#include "Support/TestHttpServer.h"
#include "Support/TestModelServerOptions.h"

namespace nimbe {

/// A language model's server for tests: it speaks as llama.cpp, Ollama or LM Studio does,
/// its model is a small text worker, and it misbehaves as it is told. On threads of its own.
class TestModelServer {
public:
    using Options = TestModelServerOptions;
    using Dialect = Options::Dialect;

    /// Port 0 is any that is free; throws std::system_error where another is taken.
    explicit TestModelServer(Options options, int port = 0);

    /// "http://127.0.0.1:PORT", without a slash at its end.
    [[nodiscard]] std::string address() const { return server.address(); }
    /// From the next request on.
    void change(const std::function<void(Options&)>& change);
    /// Counts and requests.
    [[nodiscard]] TestHttpServer& http() { return server; }
    /// So many of those that came were for a completion.
    [[nodiscard]] std::size_t completionsAsked();

private:
    mutable std::mutex mutex;
    Options options;
    TestHttpServer server; // after what its threads use
};

} // namespace nimbe
