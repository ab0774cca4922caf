#include "PlatformLanguageModel/KnownServer.h"

#include <utility>

namespace nimbe {
namespace {

using Kind = LanguageModel::Availability::Kind;

bool isSame(const ModelServer& one, const ModelServer& other) {
    return one.availability.address == other.availability.address &&
           one.availability.model == other.availability.model;
}

} // namespace

std::shared_ptr<KnownServer> KnownServer::create(Platform platform) {
    return std::shared_ptr<KnownServer>(new KnownServer(std::move(platform)));
}

KnownServer::KnownServer(Platform lent) : platform(std::move(lent)) {}

KnownServer::~KnownServer() {
    for (const auto& waiter : waiting) waiter.complete(false);
}

Published<LanguageModel::Availability>& KnownServer::availability() {
    forgetOld();
    return published;
}

std::optional<ModelServer> KnownServer::server() {
    forgetOld();
    if (!known || known->availability.model.empty()) return std::nullopt;
    const auto kind = known->availability.kind;
    return kind == Kind::available || kind == Kind::unresponsive ? known : std::nullopt;
}

void KnownServer::forgetOld() {
    if (!known) return;
    if (platform.actor.now() < forgottenAt && knownBy == ModelSearch::in(platform.defaults)) return;
    known.reset();
    learnedAt.reset();
    published.set(Availability());
}

bool KnownServer::isRecent(const ModelSearch& search) const {
    return known && learnedAt && knownBy == search &&
           platform.actor.now() < *learnedAt + platform.remembered;
}

void KnownServer::refresh() {
    auto next = ModelSearch::in(platform.defaults);
    if (!isRecent(next)) search(std::move(next));
}

void KnownServer::search(ModelSearch next) {
    if (searching.isRunning() && searchedFor == next) return;
    searchedFor = next;
    searching = startTask(platform.actor, find(weak_from_this(), std::move(next)));
}

Task<LanguageModel::Availability> KnownServer::check(std::weak_ptr<KnownServer> weakSelf) {
    auto self = weakSelf.lock();
    if (!self) co_return Availability();
    const Completion<bool> found(self->platform.actor);
    self->waiting.push_back(found);
    self->search(ModelSearch::in(self->platform.defaults));
    self.reset();

    co_await found;

    self = weakSelf.lock();
    co_return self ? self->published.get() : Availability();
}

Task<LanguageModel::Availability> KnownServer::recent(std::weak_ptr<KnownServer> weakSelf) {
    const auto self = weakSelf.lock();
    if (!self) co_return Availability();
    if (self->isRecent(ModelSearch::in(self->platform.defaults))) co_return self->published.get();
    auto checking = check(weakSelf);
    auto availability = co_await checking;
    co_return availability;
}

Task<void> KnownServer::find(std::weak_ptr<KnownServer> weakSelf, ModelSearch search) {
    auto self = weakSelf.lock();
    if (!self) co_return;
    const auto& lent = self->platform;
    auto finding = findModelServer(lent.actor, lent.http, search, lent.ports, lent.probeDeadline);
    self.reset();

    auto found = co_await finding;

    self = weakSelf.lock();
    if (self) self->learn(std::move(search), std::move(found));
}

void KnownServer::learn(ModelSearch search, ModelServer found) {
    if (silent && isSame(*silent, found) && found.availability.isAvailable())
        found.availability.kind = Kind::unresponsive;
    const auto now = platform.actor.now();
    learnedAt = now;
    forgottenAt = now + longestRemembered;
    knownBy = std::move(search);
    known = std::move(found);
    const auto availability = known->availability;
    if (availability != published.get())
        platform.log.info("model: found kind %d, \"%s\", %zu models",
            static_cast<int>(availability.kind), availability.server.c_str(),
            availability.models.size());
    const auto told = std::exchange(waiting, {});
    published.set(availability);
    for (const auto& waiter : told) waiter.complete(true);
}

bool KnownServer::isKnown(const ModelServer& asked) const {
    return known && isSame(*known, asked);
}

void KnownServer::set(Kind kind) {
    known->availability.kind = kind;
    const auto availability = known->availability;
    published.set(availability);
}

void KnownServer::answered(const ModelServer& asked) {
    if (silent && isSame(*silent, asked)) silent.reset();
    if (isKnown(asked)) set(Kind::available);
}

void KnownServer::loads(const ModelServer& asked) {
    doubt();
    if (isKnown(asked)) set(Kind::loading);
}

void KnownServer::isGone(const ModelServer& asked) {
    doubt();
    if (isKnown(asked)) set(Kind::noServer);
}

void KnownServer::isSilent(const ModelServer& asked) {
    silent = asked;
    if (isKnown(asked)) set(Kind::unresponsive);
}

} // namespace nimbe
