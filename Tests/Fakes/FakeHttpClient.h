#pragma once

#include <algorithm>
#include <deque>

#include "Foundation/HttpClient.h"

namespace nimbe {

/// Scripted answers, in order; keeps what it was asked. With none left the server
/// does not answer. A receiver is fed from within, in pieces.
class FakeHttpClient final : public HttpClient {
public:
    std::deque<Result<HttpResponse, HttpError>> answers;
    std::vector<HttpRequest> asked;
    std::size_t pieceBytes = 1000;

    [[nodiscard]] Task<Result<HttpResponse, HttpError>> send(
        HttpRequest request, Receiver* receiver) override {
        const auto limit = request.largestBody;
        asked.push_back(std::move(request));
        if (answers.empty()) co_await never();
        auto answer = std::move(answers.front());
        answers.pop_front();
        if (!answer) co_return answer;
        if (answer->body.size() > limit) co_return failure(HttpError{HttpError::Kind::tooLarge});
        if (receiver && !feed(*receiver, *answer))
            co_return failure(HttpError{HttpError::Kind::refused});
        co_return answer;
    }

private:
    [[nodiscard]] bool feed(Receiver& receiver, HttpResponse& answer) const {
        const auto body = std::move(answer.body);
        answer.body.clear();
        if (!receiver.begin(answer)) return false;
        const auto* bytes = reinterpret_cast<const std::uint8_t*>(body.data());
        for (std::size_t at = 0; at < body.size(); at += pieceBytes)
            if (!receiver.receive({bytes + at, std::min(pieceBytes, body.size() - at)}))
                return false;
        return true;
    }
};

} // namespace nimbe
