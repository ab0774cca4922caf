#include "Support/TestModelServer.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <thread>
#include <utility>

#include "Support/TestModelServerAnswer.h"
#include "Support/TestModelServerDialect.h"
#include "Support/TestModelServerRequest.h"

namespace nimbe {
namespace {

using Options = TestModelServerOptions;
using Dialect = Options::Dialect;
using Page = TestHttpServer::Page;
using enum TestMisbehaviour;

constexpr std::uint64_t gibibyte = std::uint64_t{1} << 30;

bool isCompletion(const TestHttpServer::Request& request) {
    constexpr std::array<std::string_view, 2> paths{"/v1/chat/completions", "/chat/completions"};
    return request.method == "POST" &&
           std::find(paths.begin(), paths.end(), request.target) != paths.end();
}

/// `beginning`, then `block` until it is 1 GiB.
TestHttpServer::Pieces aGibibyte(std::string beginning, std::string block) {
    return [beginning = std::optional(std::move(beginning)), block = std::move(block),
               left = gibibyte]() mutable -> std::optional<std::string> {
        if (beginning) return std::exchange(beginning, std::nullopt);
        if (left < block.size()) return std::nullopt;
        left -= block.size();
        return block;
    };
}

std::string repeated(const std::string& text, std::size_t bytes) {
    std::string all;
    while (all.size() < bytes) all += text;
    return all;
}

std::string joined(const std::vector<std::string>& parts) {
    std::string all;
    for (const auto& part : parts) all += part;
    return all;
}

/// The answer with what is wrong about how it is sent.
Page misdelivered(Page page, const Options& options, const std::vector<std::string>& events) {
    const auto bytes = events.empty() ? page.body : joined(events);
    switch (options.misbehaviour) {
    case hangMidway: page.hangsAfter = bytes.size() / 2; break;
    case breakOff: page.breaksOffAfter = bytes.size() / 2; break;
    case trickle: {
        page.pause = 1;
        std::vector<std::string> single;
        for (const char byte : bytes) single.emplace_back(1, byte);
        if (!events.empty()) page.pieces = TestHttpServer::inPieces(std::move(single));
        break;
    }
    case endless: {
        // The piece in the middle is one of the text, and stands there for ever.
        const auto middle = events.begin() + static_cast<std::ptrdiff_t>(events.size() / 2);
        page.pieces = events.empty()
                          ? aGibibyte("{\"choices\":", std::string(65536, ' '))
                          : aGibibyte(joined({events.begin(), middle}), repeated(*middle, 65536));
        break;
    }
    case huge: {
        const auto cut = bytes.find("\"content\":\"");
        page.pieces =
            aGibibyte(bytes.substr(0, cut) + R"("content":"{\"text\":\")", std::string(65536, 'a'));
        break;
    }
    case invalidBody: {
        const std::string wrong = R"({"choices":[{"index":0,"message":{"content":"{\"te)";
        page.body = wrong + "}}";
        if (!events.empty())
            page.pieces = TestHttpServer::inPieces(
                {events.front(), "data: " + wrong + "\n\n", events.back()});
        break;
    }
    default: break; // the others are elsewhere
    }
    return page;
}

/// Halfway through its answer the server fails, each in its own way.
Page failedMidway(Page page, const Options& options, std::vector<std::string> events) {
    const std::string why = "Context size has been exceeded.";
    const auto body = modelserver::errorBody(options.dialect, 500, why, "server_error");
    if (events.empty()) return modelserver::jsonPage(options.dialect, body);
    events.resize(events.size() / 2);
    switch (options.dialect) {
    case Dialect::llamaCpp: events.push_back("data: " + body.text() + "\n\n"); break;
    case Dialect::ollama:
        events.emplace_back(
            R"(data: {"id":"chatcmpl-123","object":"chat.completion.chunk","created":1700000000,)"
            R"("model":"","system_fingerprint":"fp_ollama","choices":[{"index":0,"delta":)"
            R"({"role":"assistant","content":""},"finish_reason":null}]})"
            "\n\n");
        break;
    case Dialect::lmStudio: events.push_back("event: error\ndata: " + body.text() + "\n\n"); break;
    }
    page.pieces = TestHttpServer::inPieces(std::move(events));
    return page;
}

/// What is the same whatever was asked; absent where the answer goes on.
std::optional<Page> refused(const Options& options, const TestHttpServer::Request& request) {
    const auto moved = [&](int status) {
        return Page{
            .status = status, .headers = {{"Location", options.redirectTarget + request.target}}};
    };
    switch (options.misbehaviour) {
    case hang: return Page{.hangsBeforeHead = true};
    case breakOffAtOnce: return Page{.breaksOffBeforeHead = true};
    case redirect: return moved(302);
    case redirect307: return moved(307);
    case html:
        return Page{.body = "<!doctype html>\n<html><head><title>Welcome</title></head></html>\n",
            .headers = {{"Content-Type", "text/html; charset=utf-8"}}};
    case error400: return modelserver::errorPage(options.dialect, 400, "The request is invalid.");
    case error404Model:
        return modelserver::errorPage(options.dialect, 404, "model 'test-model' not found",
            "not_found_error", "model_not_found");
    case error500:
        return modelserver::errorPage(options.dialect, 500, "llama runner process has terminated");
    default: return std::nullopt; // the others answer
    }
}

Page completion(const Options& options, const TestHttpServer::Request& request) {
    if (options.isLoading && options.dialect != Dialect::llamaCpp)
        return Page{.hangsBeforeHead = true};
    auto read = TestModelServerRequest::read(options, request);
    if (!read) return read.error();
    if (options.misbehaviour == cutPrompt) read->cutPrompt(read->promptTokens / 8);
    if (options.misbehaviour == tooLong && options.dialect != Dialect::ollama)
        return modelserver::tooLongPage(options, read->promptTokens, read->isStreamed);
    if (options.misbehaviour == tooLong) read->cutPrompt(read->promptTokens / 8);
    const auto answer = TestModelServerAnswer::of(options, *read);
    auto page = answer.page(options, *read);
    const auto events =
        read->isStreamed ? answer.events(options, *read) : std::vector<std::string>();
    if (options.misbehaviour == errorInStream)
        return failedMidway(std::move(page), options, events);
    page = misdelivered(std::move(page), options, events);
    if (options.misbehaviour == slowHead)
        page.before = [pause = options.headPause] {
            std::this_thread::sleep_for(std::chrono::duration<Seconds>(pause));
        };
    return page;
}

Page answered(const Options& options, const TestHttpServer::Request& request) {
    const auto key = request.headers.find("authorization");
    const bool isOpen = options.dialect == Dialect::ollama || options.key.empty() ||
                        (options.dialect == Dialect::llamaCpp &&
                            (request.target == "/health" || request.target == "/v1/health"));
    if (!isOpen && (key == request.headers.end() || key->second != "Bearer " + options.key))
        return options.dialect == Dialect::llamaCpp
                   ? modelserver::errorPage(
                         options.dialect, 401, "Invalid API Key", "authentication_error")
                   : modelserver::errorPage(options.dialect, 401,
                         "An LM Studio API token is required to make requests to this server, but "
                         "none was provided using the Authorization header using the 'Bearer' "
                         "scheme.",
                         "invalid_request", "invalid_api_key");
    const bool isAsked = isCompletion(request);
    if (isAsked || options.misbehavesEverywhere)
        if (auto page = refused(options, request)) return *page;
    const bool isReady = !options.isLoading || options.dialect != Dialect::llamaCpp;
    if (isAsked && isReady) return completion(options, request);
    return modelserver::infoPage(options, request);
}

} // namespace

TestModelServer::TestModelServer(Options options, int port)
    : options(std::move(options)), server(std::nullopt, port) {
    server.putOthers([this](const TestHttpServer::Request& request) {
        std::unique_lock lock(mutex);
        const auto current = this->options;
        lock.unlock();
        return answered(current, request);
    });
}

void TestModelServer::change(const std::function<void(Options&)>& change) {
    const std::lock_guard lock(mutex);
    change(options);
}

std::size_t TestModelServer::completionsAsked() {
    const auto all = server.requests();
    return static_cast<std::size_t>(std::count_if(all.begin(), all.end(), isCompletion));
}

} // namespace nimbe
