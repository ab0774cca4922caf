#include "PlatformLanguageModel/ModelServer.h"

#include <utility>

#include "PlatformLanguageModel/ModelList.h"

namespace nimbe {
namespace {

using Dialect = ModelServer::Dialect;
using Kind = ModelServer::Kind;
using Sent = Result<HttpResponse, HttpError>;

// The list of a machine with hundreds of models is some 100 KB.
constexpr std::uint64_t largestList = 1 << 20;

HttpRequest get(std::string url) {
    HttpRequest request;
    request.url = std::move(url);
    request.headers = {{"Accept", "application/json"}};
    request.largestBody = largestList;
    return request;
}

/// The object of a good answer; null: there is none.
Json objectOf(const Sent& sent) {
    if (!sent || sent->status != 200) return {};
    auto json = Json::parse(sent->body);
    return json && json->asObject() ? std::move(*json) : Json();
}

Task<Json> getObject(HttpClient& http, std::string url) {
    auto sending = http.send(get(std::move(url)));
    const auto sent = co_await sending;
    co_return objectOf(sent);
}

ModelServer of(Kind kind, const std::string& address, std::string detail = {}) {
    ModelServer server;
    server.availability.kind = kind;
    server.availability.address = address;
    server.availability.detail = std::move(detail);
    return server;
}

Kind kindOf(const HttpError& error) {
    switch (error.kind) {
    case HttpError::Kind::unreachable:
    case HttpError::Kind::badAddress: return Kind::noServer;
    case HttpError::Kind::timedOut: return Kind::unresponsive;
    case HttpError::Kind::insecure: return Kind::refused;
    case HttpError::Kind::brokenOff:
    case HttpError::Kind::tooLarge:
    case HttpError::Kind::refused:
    case HttpError::Kind::failed: break;
    }
    return Kind::notAServer;
}

bool isLlamaCpp(const HttpResponse& response) {
    return response.header("server") == "llama.cpp";
}

void setDialect(ModelServer& server, Dialect dialect) {
    server.dialect = dialect;
    server.availability.server = ModelServer::name(dialect);
}

/// An answer to the first question that is no list.
ModelServer withoutList(const HttpResponse& response, const std::string& address) {
    const auto error = ChatError::ofBody(response.status, response.body);
    const auto json = Json::parse(response.body);
    auto server = of(Kind::notAServer, address, "status " + std::to_string(response.status));
    if (isLlamaCpp(response)) setDialect(server, Dialect::llamaCpp);
    const bool tellsError = json && ChatError::in(*json).has_value();
    server.isProven = isLlamaCpp(response) || (tellsError && error.isLoading());
    if (error.isLoading()) server.availability.kind = Kind::loading;
    const bool refuses = response.status != 404 && response.status >= 300;
    if (!error.isLoading() && refuses) server.availability.kind = Kind::refused;
    // What asks for a key as these servers do.
    server.isProven = server.isProven || (response.status == 401 && tellsError);
    return server;
}

/// llama.cpp with one model, which answers whatever the name.
bool hasOneModel(const Json& json) {
    const auto* data = json.member("data");
    const auto* list = data ? data->asArray() : nullptr;
    return list && list->size() == 1 && !list->front().member("status");
}

bool isOfLlamaCpp(const HttpResponse& response, const Json& json) {
    if (isLlamaCpp(response)) return true;
    const auto* data = json.member("data");
    const auto* list = data ? data->asArray() : nullptr;
    if (!list || list->empty()) return false;
    const auto* owner = list->front().member("owned_by");
    return (owner && *owner == Json("llamacpp")) || json.member("models");
}

void choose(ModelServer& server, const ModelList& list, const std::string& name) {
    auto& availability = server.availability;
    availability.models = list.names();
    availability.model = list.choose(name);
    availability.kind = availability.model.empty() ? Kind::noModel : Kind::available;
    if (availability.model.empty()) availability.model = name;
}

/// `mayLeave`: also a model that the server itself asks another machine for.
void choose(ModelServer& server, const ModelList& list, const std::string& name, bool mayLeave) {
    choose(server, mayLeave ? list : list.hereOnly(), name);
    const auto elsewhere = list.choose(name);
    if (server.availability.isAvailable() || elsewhere.empty()) return;
    server.availability.kind = Kind::notAllowed;
    server.availability.model = elsewhere;
}

} // namespace

ChatForm ModelServer::form() const {
    using Thinking = ChatForm::Thinking;
    ChatForm form;
    switch (dialect) {
    case Dialect::llamaCpp: form.thinking = Thinking::templateArgument; break;
    case Dialect::ollama:
    case Dialect::lmStudio: form.thinking = Thinking::effort; break;
    case Dialect::openAI: break; // strict ones refuse what they do not know
    }
    return form;
}

std::string_view ModelServer::name(Dialect dialect) {
    switch (dialect) {
    case Dialect::llamaCpp: return "llama.cpp";
    case Dialect::ollama: return "Ollama";
    case Dialect::lmStudio: return "LM Studio";
    case Dialect::openAI: break;
    }
    return {};
}

Task<ModelServer> ModelServer::ask(
    HttpClient& http, std::string address, std::string name, bool mayLeave) {
    auto sending = http.send(get(address + "/v1/models"));
    const auto sent = co_await sending;
    if (!sent) co_return of(kindOf(sent.error()), address, sent.error().detail);
    const auto json = objectOf(sent);
    const auto listed = ModelList::ofOpenAI(json);
    if (!listed) co_return withoutList(*sent, address);

    auto server = of(Kind::noModel, address);
    server.isProven = true;
    if (isOfLlamaCpp(*sent, json)) {
        setDialect(server, Dialect::llamaCpp);
        choose(server, *listed, hasOneModel(json) ? std::string() : name);
        co_return server;
    }
    auto asking = getObject(http, address + "/api/version");
    const auto version = co_await asking;
    const auto* number = version.member("version");
    if (number && number->asString() && !version.member("error")) {
        setDialect(server, Dialect::ollama);
        auto askingTags = getObject(http, address + "/api/tags");
        const auto tags = co_await askingTags;
        auto askingLoaded = getObject(http, address + "/api/ps");
        const auto loaded = co_await askingLoaded;
        const auto detailed = ModelList::ofOllama(tags, loaded);
        choose(server, detailed ? *detailed : *listed, name, mayLeave);
        co_return server;
    }
    auto askingStates = getObject(http, address + "/api/v0/models");
    const auto states = co_await askingStates;
    const auto detailed = ModelList::ofLMStudio(states);
    if (detailed) setDialect(server, Dialect::lmStudio);
    choose(server, detailed ? *detailed : *listed, name, mayLeave);
    co_return server;
}

} // namespace nimbe
