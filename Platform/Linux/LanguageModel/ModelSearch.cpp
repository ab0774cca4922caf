#include "PlatformLanguageModel/ModelSearch.h"

#include <algorithm>
#include <array>
#include <utility>

#include "Foundation/ServiceAddress.h"
#include "Foundation/TaskScope.h"
#include "Foundation/Text.h"
#include "NimbeEngine/Language/LanguageModelSettings.h"

namespace nimbe {
namespace {

using Kind = ModelServer::Kind;

ModelServer of(Kind kind, std::string address, std::string detail) {
    ModelServer server;
    server.availability = {
        .kind = kind, .address = std::move(address), .detail = std::move(detail)};
    return server;
}

/// Without the "/v1" that such addresses are often given with.
std::string baseOf(std::string_view address) {
    while (address.ends_with('/')) address.remove_suffix(1);
    if (address.ends_with("/v1")) address.remove_suffix(3);
    while (address.ends_with('/')) address.remove_suffix(1);
    return std::string(address);
}

Task<ModelServer> askWithin(MainActor& actor, HttpClient& http, std::string address,
    std::string name, bool mayLeave, Seconds deadline) {
    auto asking = ModelServer::ask(http, address, std::move(name), mayLeave);
    auto limited = withDeadline(actor, deadline, std::move(asking));
    auto answer = co_await limited;
    if (answer) co_return std::move(*answer);
    co_return of(Kind::unresponsive, std::move(address), "the deadline passed");
}

Task<void> completeWithAnswer(Task<ModelServer> asking, Completion<ModelServer> completion) {
    auto server = co_await asking;
    completion.complete(std::move(server));
}

/// Of what is found on ports that often are another program's.
ModelServer moreTelling(ModelServer one, ModelServer other) {
    constexpr std::array order = {Kind::available, Kind::loading, Kind::refused, Kind::notAllowed,
        Kind::noModel, Kind::unresponsive};
    const auto rank = [&](const ModelServer& server) {
        const auto* const end = server.isProven ? order.end() : order.begin();
        const auto* const found = std::find(order.begin(), end, server.availability.kind);
        return found == end ? order.size() : static_cast<std::size_t>(found - order.begin());
    };
    return rank(other) < rank(one) ? std::move(other) : std::move(one);
}

Task<ModelServer> findOnPorts(MainActor& actor, HttpClient& http, ModelSearch search,
    std::vector<int> ports, Seconds deadline) {
    std::vector<Completion<ModelServer>> answers;
    TaskScope asking(actor);
    for (const int port : ports) {
        const Completion<ModelServer> answer(actor);
        answers.push_back(answer);
        auto address = "http://127.0.0.1:" + std::to_string(port);
        auto one = askWithin(
            actor, http, std::move(address), search.name, search.allowsOtherHosts, deadline);
        asking.start(completeWithAnswer(std::move(one), answer));
    }
    auto best = of(Kind::noServer, {}, "on none of the usual ports");
    for (const auto& answer : answers) {
        auto server = co_await answer;
        best = moreTelling(std::move(best), std::move(server));
        if (best.availability.isAvailable()) break;
    }
    co_return best;
}

Task<ModelServer> findAtAddress(
    MainActor& actor, HttpClient& http, ModelSearch search, Seconds deadline) {
    using Hosts = ServiceAddress::Hosts;
    const auto base = baseOf(search.address);
    if (!ServiceAddress::parse(base, Hosts::any))
        co_return of(Kind::noServer, search.address, "no http address");
    const auto hosts = search.allowsOtherHosts ? Hosts::any : Hosts::thisMachine;
    const auto address = ServiceAddress::parse(base, hosts);
    if (!address) co_return of(Kind::notAllowed, base, "another machine");
    auto asking = askWithin(
        actor, http, address->url(""), std::move(search.name), search.allowsOtherHosts, deadline);
    auto server = co_await asking;
    co_return server;
}

} // namespace

ModelSearch ModelSearch::in(UserDefaults& defaults) {
    using Settings = LanguageModelSettings;
    const auto trimmed = [&](const Setting<std::string>& setting) {
        const auto value = defaults.get(setting);
        return std::string(text::trimmed(value));
    };
    return {trimmed(Settings::address), defaults.get(Settings::allowsOtherHosts),
        trimmed(Settings::name)};
}

Task<ModelServer> findModelServer(MainActor& actor, HttpClient& http, ModelSearch search,
    std::vector<int> ports, Seconds deadline) {
    if (search.address.empty())
        return findOnPorts(actor, http, std::move(search), std::move(ports), deadline);
    return findAtAddress(actor, http, std::move(search), deadline);
}

} // namespace nimbe
