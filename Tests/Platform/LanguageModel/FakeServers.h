#pragma once

#include <deque>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "Foundation/HttpClient.h"

namespace nimbe {

/// Servers that answer by address; keeps what they were asked. Where there is no page, the
/// connection is refused. Of several answers to one address the last one stays.
class FakeServers final : public HttpClient {
public:
    struct Page {
        Result<HttpResponse, HttpError> answer = HttpResponse{200};
        bool hangs = false;      // before the head
        bool hangsAtEnd = false; // after the body
        Seconds pause = 0;       // before the answer, and before each piece of a body
        std::size_t pieceBytes = 1000;
        std::optional<HttpError> breaksOff = {}; // after the body
    };
    std::map<std::string, std::deque<Page>> pages;
    std::vector<HttpRequest> asked;

    explicit FakeServers(MainActor& actor) : actor(actor) {}

    void put(const std::string& url, Page page) { pages[url].push_back(std::move(page)); }
    void put(const std::string& url, std::string body, int status = 200,
        std::vector<HttpRequest::Header> headers = {}) {
        put(url, Page{HttpResponse{status, std::move(headers), std::move(body)}});
    }
    void stream(const std::string& url, std::string body, std::size_t pieceBytes = 1000) {
        put(url, streamed(std::move(body), pieceBytes));
    }
    [[nodiscard]] static Page streamed(std::string body, std::size_t pieceBytes = 1000) {
        Page page;
        page.answer = HttpResponse{200, {{"content-type", "text/event-stream"}}, std::move(body)};
        page.pieceBytes = pieceBytes;
        return page;
    }
    [[nodiscard]] std::size_t askedFor(const std::string& url) const {
        std::size_t count = 0;
        for (const auto& request : asked) count += request.url == url ? 1U : 0U;
        return count;
    }

    [[nodiscard]] Task<Result<HttpResponse, HttpError>> send(
        HttpRequest request, Receiver* receiver) override {
        const auto limit = request.largestBody;
        const auto found = pages.find(request.url);
        asked.push_back(std::move(request));
        if (found == pages.end() || found->second.empty())
            co_return failure(HttpError{HttpError::Kind::unreachable, "refused"});
        auto page = found->second.front();
        if (found->second.size() > 1) found->second.pop_front();
        if (page.hangs) co_await never();
        if (page.pause > 0) co_await sleep(actor, page.pause);
        if (!page.answer) co_return page.answer;
        auto& answer = *page.answer;
        if (answer.body.size() > limit) co_return failure(HttpError{HttpError::Kind::tooLarge});
        if (receiver) {
            auto feeding = feed(*receiver, answer, page.pieceBytes, page.pause);
            const bool isTaken = co_await feeding;
            if (!isTaken) co_return failure(HttpError{HttpError::Kind::refused});
        }
        if (page.hangsAtEnd) co_await never();
        if (page.breaksOff) co_return failure(*page.breaksOff);
        co_return answer;
    }

private:
    MainActor& actor;

    Task<bool> feed(Receiver& receiver, HttpResponse& answer, std::size_t piece, Seconds pause) {
        const auto body = std::exchange(answer.body, {});
        if (!receiver.begin(answer)) co_return false;
        for (std::size_t at = 0; at < body.size(); at += piece) {
            if (pause > 0) co_await sleep(actor, pause);
            const auto bytes = std::string_view(body).substr(at, piece);
            const auto* begin = reinterpret_cast<const std::uint8_t*>(bytes.data());
            if (!receiver.receive({begin, bytes.size()})) co_return false;
        }
        co_return true;
    }
};

} // namespace nimbe
