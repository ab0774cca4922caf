#include "PlatformLanguageModel/ChatCompletionsModel.h"

#include <map>
#include <utility>

#include "Foundation/TaskScope.h"
#include "PlatformLanguageModel/ChatExchange.h"
#include "PlatformLanguageModel/KnownServer.h"
#include "PlatformLanguageModel/WarmPrompts.h"

namespace nimbe {
namespace {

using Answer = ChatExchange::Answer;
using Failure = ChatExchange::Failure;
using Responded = Result<LanguageModel::Response, LanguageModelError>;

constexpr auto completionsPath = "/v1/chat/completions";

/// Where the same request is asked for again, whoever stops it at its deadline.
constexpr Seconds deadlineSlack = 0.1;

/// Of the log: nothing but the host and the port.
std::string hostOf(const ModelServer& server) {
    const auto& address = server.availability.address;
    const auto scheme = address.find("://");
    const auto begin = scheme == address.npos ? 0 : scheme + 3;
    return address.substr(begin, address.find('/', begin) - begin);
}

std::string keyOf(const ModelServer& server) {
    return server.availability.address + " " + server.availability.model;
}

LanguageModelError unavailable(const char* detail) {
    return {LanguageModelError::Kind::unavailable, detail};
}

/// Callers often stop a request at its own deadline, a moment before that is noticed here.
class SilenceWatch {
public:
    SilenceWatch(
        MainActor& actor, std::weak_ptr<KnownServer> servers, ModelServer asked, Seconds end)
        : actor(actor), servers(std::move(servers)), asked(std::move(asked)), end(end) {}
    ~SilenceWatch() {
        if (isOver || hasBytes || actor.now() + deadlineSlack < end) return;
        actor.post([weak = servers, server = asked] {
            if (const auto known = weak.lock()) known->isSilent(server);
        });
    }
    SilenceWatch(const SilenceWatch&) = delete;
    SilenceWatch& operator=(const SilenceWatch&) = delete;

    bool isOver = false;
    bool hasBytes = false;

private:
    MainActor& actor;
    std::weak_ptr<KnownServer> servers;
    ModelServer asked;
    Seconds end;
};

} // namespace

class ChatCompletionsModel::State : public std::enable_shared_from_this<State> {
public:
    State(MainActor& actor, HttpClient& http, UserDefaults& defaults, LogSink& log, Options options)
        : actor(actor), http(http), defaults(defaults), log(log, "model"),
          servers(KnownServer::create({actor, http, defaults, this->log, std::move(options.ports),
              remembered, probeDeadline})) {}

    const std::shared_ptr<KnownServer>& known() const { return servers; }
    void refresh();
    void prewarm(std::string instructions);

    static Task<Responded> respond(
        std::weak_ptr<State> weakSelf, Request request, OnPartial onPartial);

private:
    MainActor& actor;
    HttpClient& http;
    UserDefaults& defaults;
    Log log;
    std::shared_ptr<KnownServer> servers;
    std::map<std::string, ChatForm> forms; // that worked, where it is not the first
    WarmPrompts warm;
    std::string readAhead = "Answer with one word."; // what was last
    GeneratedType lastType{"Answer", {{"text", "The answer."}}};
    ModelSearch prewarmedFor;
    TaskHandle prewarming;

    /// Asks one server, in the forms that it may want, until the time is up.
    static Task<Answer> ask(std::weak_ptr<State> weakSelf, ModelServer server, Request request,
        OnPartial onPartial, std::optional<int> mostTokens);
    static Task<void> runPrewarm(std::weak_ptr<State> weakSelf, std::string instructions);

    [[nodiscard]] ChatForm formOf(const ModelServer& server) const;
    [[nodiscard]] ChatExchange exchange(const ModelServer& server, const ChatForm& form,
        const Request& request, std::optional<int> mostTokens) const;
    void learn(const ModelServer& server, const ChatForm& form, const std::string& instructions,
        const Answer& answer);
    void report(
        const ModelServer& server, const Answer& answer, bool isPrewarming, Seconds took) const;
};

ChatForm ChatCompletionsModel::State::formOf(const ModelServer& server) const {
    const auto found = forms.find(keyOf(server));
    return found == forms.end() ? server.form() : found->second;
}

ChatExchange ChatCompletionsModel::State::exchange(const ModelServer& server, const ChatForm& form,
    const Request& request, std::optional<int> mostTokens) const {
    const auto& at = server.availability;
    return {actor, http, at.address + completionsPath, form.body(at.model, request, mostTokens),
        request};
}

Task<Answer> ChatCompletionsModel::State::ask(std::weak_ptr<State> weakSelf, ModelServer server,
    Request request, OnPartial onPartial, std::optional<int> mostTokens) {
    auto self = weakSelf.lock();
    if (!self) co_return failure(Failure{unavailable("gone")});
    auto& actor = self->actor;
    const auto began = actor.now();
    const auto end = began + request.deadline;
    SilenceWatch watch(actor, self->servers, server, end);
    auto form = self->formOf(server);
    for (;;) {
        auto exchange = self->exchange(server, form, request, mostTokens);
        exchange.request.deadline = end - actor.now();
        exchange.hasBytes = &watch.hasBytes;
        auto asking = ChatExchange::run(std::move(exchange), onPartial);
        self.reset();

        auto answer = co_await asking;

        self = weakSelf.lock();
        const bool isRefused = !answer && answer.error().refusal;
        const auto next = isRefused ? form.after(*answer.error().refusal) : std::nullopt;
        if (!self || !next || actor.now() >= end) {
            watch.isOver = true;
            if (self) self->learn(server, form, request.instructions, answer);
            if (self) self->report(server, answer, mostTokens.has_value(), actor.now() - began);
            co_return answer;
        }
        form = *next;
    }
}

void ChatCompletionsModel::State::learn(const ModelServer& server, const ChatForm& form,
    const std::string& instructions, const Answer& answer) {
    using Server = Failure::Server;
    if (answer || answer.error().isAnswer) {
        if (form != server.form()) forms[keyOf(server)] = form;
        warm.add(keyOf(server), instructions, actor.now());
        return servers->answered(server);
    }
    const auto& failed = answer.error();
    switch (failed.server) {
    case Server::answers: break;
    case Server::loads: servers->loads(server); break;
    case Server::isGone: servers->isGone(server); break;
    case Server::isSilent: servers->isSilent(server); break;
    }
    warm.forget(keyOf(server));
    const bool isBroken = failed.error.kind == LanguageModelError::Kind::brokenOff;
    if (isBroken || (failed.refusal && failed.refusal->lacksModel())) servers->doubt();
}

void ChatCompletionsModel::State::report(
    const ModelServer& server, const Answer& answer, bool isPrewarming, Seconds took) const {
    const auto host = hostOf(server);
    const int milliseconds = static_cast<int>(took * 1000);
    if (isPrewarming && (answer || answer.error().isAnswer))
        return log.info("model: %s is ready after %d ms", host.c_str(), milliseconds);
    if (answer)
        return log.info("model: %s answered in %d ms%s", host.c_str(), milliseconds,
            answer->isWhole ? "" : ", not to the end");
    const auto& error = answer.error().error;
    log.info("model: %s failed after %d ms, reason %d: %s", host.c_str(), milliseconds,
        static_cast<int>(error.kind), error.detail.c_str());
}

Task<Responded> ChatCompletionsModel::State::respond(
    std::weak_ptr<State> weakSelf, Request request, OnPartial onPartial) {
    auto self = weakSelf.lock();
    if (!self) co_return failure(unavailable("gone"));
    auto& actor = self->actor;
    const auto end = actor.now() + request.deadline;
    self->lastType = request.type;
    auto server = self->servers->server();
    if (!server) {
        auto checking = KnownServer::check(self->servers);
        auto limited = withDeadline(actor, request.deadline, std::move(checking));
        self.reset();

        const auto found = co_await limited;

        self = weakSelf.lock();
        if (!self) co_return failure(unavailable("gone"));
        if (!found) co_return failure(LanguageModelError{LanguageModelError::Kind::timedOut});
        server = self->servers->server();
        if (!server) co_return failure(unavailable("no server"));
        request.deadline = end - actor.now();
    }
    self.reset();
    auto asking = ask(weakSelf, std::move(*server), std::move(request), std::move(onPartial), {});
    auto answer = co_await asking;
    if (!answer) co_return failure(std::move(answer.error().error));
    co_return std::move(*answer);
}

/// Who was silent has to answer a request, and nobody may make one of a model that is not
/// known to be available.
void ChatCompletionsModel::State::refresh() {
    const auto kind = servers->availability().get().kind;
    if (kind == Availability::Kind::unresponsive && servers->server())
        prewarm(readAhead);
    else
        servers->refresh();
}

void ChatCompletionsModel::State::prewarm(std::string instructions) {
    readAhead = instructions;
    servers->refresh();
    auto search = ModelSearch::in(defaults);
    if (prewarming.isRunning() && prewarmedFor == search) return;
    prewarmedFor = std::move(search);
    prewarming = startTask(actor, runPrewarm(weak_from_this(), std::move(instructions)));
}

Task<void> ChatCompletionsModel::State::runPrewarm(
    std::weak_ptr<State> weakSelf, std::string instructions) {
    auto self = weakSelf.lock();
    if (!self) co_return;
    auto looking = KnownServer::recent(self->servers);
    self.reset();

    const auto availability = co_await looking;

    self = weakSelf.lock();
    if (!self) co_return;
    const auto server = self->servers->server();
    if (!server) co_return;
    const bool isWarm = self->warm.has(keyOf(*server), instructions, self->actor.now());
    if (isWarm && availability.isAvailable()) co_return;
    Request request{std::move(instructions), "Hello.", self->lastType, prewarmDeadline};
    request.stallDeadline = prewarmDeadline;
    self.reset();
    auto asking = ask(weakSelf, *server, std::move(request), {}, 1);
    const auto answer = co_await asking;
}

ChatCompletionsModel::ChatCompletionsModel(
    MainActor& actor, HttpClient& http, UserDefaults& defaults, LogSink& log, Options options)
    : state(std::make_shared<State>(actor, http, defaults, log, std::move(options))) {}

ChatCompletionsModel::~ChatCompletionsModel() = default;

Published<LanguageModel::Availability>& ChatCompletionsModel::availability() {
    return state->known()->availability();
}

void ChatCompletionsModel::refresh() {
    state->refresh();
}

Task<LanguageModel::Availability> ChatCompletionsModel::check() {
    return KnownServer::check(state->known());
}

void ChatCompletionsModel::prewarm(std::string instructions) {
    state->prewarm(std::move(instructions));
}

Task<Result<LanguageModel::Response, LanguageModelError>> ChatCompletionsModel::respond(
    Request request, OnPartial onPartial) {
    return State::respond(state, std::move(request), std::move(onPartial));
}

} // namespace nimbe
