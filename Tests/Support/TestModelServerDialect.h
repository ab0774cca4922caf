#pragma once

#include <string>
#include <vector>

#include "Support/TestHttpServer.h"
#include "Support/TestModelServerOptions.h"

namespace nimbe {

/// How the three servers say what they say: see Tests/ModelServer/Recorded/README.md.
namespace modelserver {

/// Of every answer.
[[nodiscard]] std::vector<TestHttpServer::Header> headers(
    TestModelServerOptions::Dialect dialect, const std::string& contentType);
[[nodiscard]] TestHttpServer::Page jsonPage(
    TestModelServerOptions::Dialect dialect, const Json& body, int status = 200);
/// In the dialect's form; LM Studio has two: a text, and with a code an object.
[[nodiscard]] TestHttpServer::Page errorPage(TestModelServerOptions::Dialect dialect, int status,
    const std::string& message, const std::string& type = {}, const std::string& code = {});
[[nodiscard]] Json errorBody(TestModelServerOptions::Dialect dialect, int status,
    const std::string& message, const std::string& type = {}, const std::string& code = {});

/// The text is longer than what the model can read. Ollama has no such answer.
[[nodiscard]] TestHttpServer::Page tooLongPage(
    const TestModelServerOptions& options, std::size_t tokens, bool isStreamed);

/// What clients find out with: status, models, versions. Any path and method.
[[nodiscard]] TestHttpServer::Page infoPage(
    const TestModelServerOptions& options, const TestHttpServer::Request& request);

} // namespace modelserver
} // namespace nimbe
