#include "PlatformLanguageModel/ChatExchange.h"

#include <utility>

#include "Foundation/TaskScope.h"
#include "PlatformLanguageModel/ChatStream.h"
#include "PlatformLanguageModel/PartialPacing.h"
#include "PlatformLanguageModel/StreamReceiver.h"

namespace nimbe {
namespace {

using Kind = LanguageModelError::Kind;
using Failure = ChatExchange::Failure;
using Answer = ChatExchange::Answer;
using Sent = Result<HttpResponse, HttpError>;

constexpr std::size_t largestOfAny = 4U << 20;
constexpr std::size_t answerBytesOfPromptByte = 16;
// A streamed token comes in an object of some 250 bytes.
constexpr std::size_t streamBytesOfAnswerByte = 16;
// Read in one turn of the main loop: about a millisecond.
constexpr std::size_t mostInOneTurn = 64 * 1024;

Failure failureOf(const HttpError& error) {
    const auto with = [&](Kind kind, Failure::Server server = Failure::Server::answers) {
        return Failure{{kind, error.detail}, server};
    };
    switch (error.kind) {
    case HttpError::Kind::unreachable: return with(Kind::unavailable, Failure::Server::isGone);
    case HttpError::Kind::timedOut: return with(Kind::timedOut, Failure::Server::isSilent);
    case HttpError::Kind::brokenOff: return with(Kind::brokenOff);
    case HttpError::Kind::tooLarge: return with(Kind::tooLarge);
    case HttpError::Kind::badAddress:
    case HttpError::Kind::insecure: return with(Kind::unavailable);
    case HttpError::Kind::refused:
    case HttpError::Kind::failed: break;
    }
    return with(Kind::refused);
}

Failure failureOf(const ChatError& error) {
    return {error.error(), error.isLoading() ? Failure::Server::loads : Failure::Server::answers,
        error};
}

Failure timedOut(bool hasBytes) {
    return {{Kind::timedOut, "the deadline passed"},
        hasBytes ? Failure::Server::answers : Failure::Server::isSilent};
}

HttpRequest post(const ChatExchange& exchange) {
    HttpRequest request;
    request.method = HttpRequest::Method::post;
    request.url = exchange.url;
    request.headers = {{"Content-Type", "application/json"}};
    request.body = exchange.body;
    request.connectDeadline = exchange.request.deadline;
    request.stallDeadline = exchange.request.stallDeadline;
    request.deadline = exchange.request.deadline;
    request.largestBody = ChatExchange::largestAnswer(exchange.request);
    return request;
}

/// What has been read, at its end.
Answer answerOf(ChatStream& stream, const LanguageModel::Request& request) {
    stream.finish();
    if (const auto& fault = stream.fault()) return failure(Failure{*fault});
    if (const auto error = stream.error()) return failure(failureOf(*error));
    auto response = stream.completion().response(request, stream.isStream());
    if (!response) {
        Failure failed{std::move(response.error())};
        failed.isAnswer = true;
        return failure(std::move(failed));
    }
    return std::move(*response);
}

Task<void> sendTo(Task<Sent> sending, std::optional<Sent>* sent, AsyncStream<bool> news) {
    auto result = co_await sending;
    sent->emplace(std::move(result));
    news.finish();
}

/// A streamed answer while it comes.
class Reading {
public:
    Reading(ChatExchange exchange, LanguageModel::OnPartial onPartial)
        : exchange(std::move(exchange)), onPartial(std::move(onPartial)) {}

    [[nodiscard]] static Task<Answer> run(std::shared_ptr<Reading> self);

private:
    ChatExchange exchange;
    LanguageModel::OnPartial onPartial;
    MainActor& actor = exchange.actor;
    AsyncStream<bool> news{actor};
    ChatStream stream{ChatExchange::largestAnswer(exchange.request)};
    StreamReceiver receiver{actor, news, ChatExchange::largestAnswer(exchange.request)};
    std::optional<Sent> sent;
    PartialPacing pacing{ChatExchange::partialInterval};
    std::size_t given = 0; // bytes of the object that the last partial came from
    bool isBegun = false;
    Token nextPartial;
    Token end;
    TaskHandle sending; // the first to go: it calls the receiver

    void send();
    void beginWith(const HttpResponse& head);
    [[nodiscard]] bool givePartial();
    [[nodiscard]] Answer answer(bool isTooMuch);
};

void Reading::send() {
    auto request = post(exchange);
    request.headers.emplace_back("Accept", "text/event-stream");
    request.largestBody *= streamBytesOfAnswerByte;
    sending =
        startTask(actor, sendTo(exchange.http.send(std::move(request), &receiver), &sent, news));
}

void Reading::beginWith(const HttpResponse& head) {
    if (head.status == 0 || std::exchange(isBegun, true)) return;
    stream.begin(head);
}

/// False: no more is wanted.
bool Reading::givePartial() {
    if (!onPartial) return true;
    nextPartial.reset();
    const auto bytes = stream.completion().begunBytes();
    if (bytes == given) return true;
    const auto began = actor.now();
    if (const auto wait = pacing.wait(began); wait > 0) {
        nextPartial = actor.schedule(wait, [news = news] { news.yield(true); });
        return true;
    }
    given = bytes;
    const auto partial = stream.completion().begun(exchange.request.type);
    if (!partial || partial->asObject()->empty()) return true;
    const bool isWanted = onPartial(*partial);
    pacing.given(began, actor.now());
    return isWanted;
}

Answer Reading::answer(bool isTooMuch) {
    if (isTooMuch) return failure(Failure{{Kind::tooLarge, "more than can be read"}});
    if (sent && *sent && !isBegun) beginWith(**sent);
    const bool isOver = stream.completion().hasFinished() || stream.fault() || stream.error();
    if (sent && !*sent && !isOver) {
        const auto& error = sent->error();
        // What there is of a broken answer is worth more than nothing.
        const bool isBroken = error.kind == HttpError::Kind::brokenOff && isBegun;
        if (!isBroken || stream.completion().isEmpty()) {
            auto failed = failureOf(error);
            if (isBegun && failed.server == Failure::Server::isSilent)
                failed.server = Failure::Server::answers;
            return failure(std::move(failed));
        }
    }
    return answerOf(stream, exchange.request);
}

Task<Answer> Reading::run(std::shared_ptr<Reading> self) {
    self->send();
    for (bool isGoing = true; isGoing;) {
        auto waiting = self->news.next();
        const auto more = co_await waiting;
        const auto taken = self->receiver.take();
        self->beginWith(taken.head);
        if (self->isBegun && self->exchange.hasBytes) *self->exchange.hasBytes = true;
        isGoing = more.has_value();
        for (std::size_t at = 0; at < taken.bytes.size(); at += mostInOneTurn) {
            if (at > 0) co_await sleep(self->actor, 0);
            if (self->stream.add(std::string_view(taken.bytes).substr(at, mostInOneTurn))) continue;
            isGoing = false;
            break;
        }
        if (taken.isTooMuch) co_return self->answer(true);
        if (!isGoing) break;
        if (!self->givePartial()) co_return failure(Failure{{Kind::stopped, "by the receiver"}});
        // Some servers keep the connection when all is said.
        if (self->stream.completion().hasFinished() && !self->end.isSet())
            self->end = self->actor.schedule(
                ChatExchange::endDeadline, [news = self->news] { news.finish(); });
    }
    co_return self->answer(false);
}

Task<Answer> limited(
    MainActor& actor, Seconds deadline, const bool* hasBytes, Task<Answer> asking) {
    auto pending = withDeadline(actor, deadline, std::move(asking));
    auto answer = co_await pending;
    if (!answer) co_return failure(timedOut(hasBytes && *hasBytes));
    co_return std::move(*answer);
}

} // namespace

Task<Answer> ChatExchange::run(ChatExchange exchange, LanguageModel::OnPartial onPartial) {
    auto& actor = exchange.actor;
    const auto deadline = exchange.request.deadline;
    const auto* hasBytes = exchange.hasBytes;
    auto reading = std::make_shared<Reading>(std::move(exchange), std::move(onPartial));
    return limited(actor, deadline, hasBytes, Reading::run(std::move(reading)));
}

std::size_t ChatExchange::largestAnswer(const LanguageModel::Request& request) {
    return largestOfAny + answerBytesOfPromptByte * request.prompt.size();
}

} // namespace nimbe
