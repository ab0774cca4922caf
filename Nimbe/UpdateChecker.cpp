#include "NimbeApp/UpdateChecker.h"

#include <utility>

#include "Foundation/TaskScope.h"

namespace nimbe {

std::shared_ptr<UpdateChecker> UpdateChecker::create(Platform platform) {
    return std::shared_ptr<UpdateChecker>(new UpdateChecker(std::move(platform)));
}

UpdateChecker::UpdateChecker(Platform lent)
    : platform(std::move(lent)), log(platform.log, "update") {}

void UpdateChecker::start() {
    daily = startTask(platform.actor, checkDaily(weak_from_this()));
}

Task<void> UpdateChecker::checkDaily(std::weak_ptr<UpdateChecker> weakSelf) {
    for (;;) {
        auto self = weakSelf.lock();
        if (!self) co_return;
        auto& actor = self->platform.actor;
        self->check();
        self.reset();
        co_await sleep(actor, interval);
    }
}

void UpdateChecker::check() {
    asking.reset();
    if (!platform.defaults.get(automaticChecksEnabled)) return _available.set(std::nullopt);
    if (const auto base = address())
        asking = startTask(platform.actor, ask(weak_from_this(), base->url("/api/mac/latest")));
}

Task<void> UpdateChecker::ask(std::weak_ptr<UpdateChecker> weakSelf, std::string url) {
    auto self = weakSelf.lock();
    if (!self) co_return;
    HttpRequest request;
    request.url = std::move(url);
    request.headers.emplace_back("Accept", "application/json");
    request.deadline = deadline;
    request.largestBody = largestManifest;
    // Redirects are not followed: who answers is whom the user has named.
    auto sending = self->platform.http.send(std::move(request));
    auto pending = withDeadline(self->platform.actor, deadline, std::move(sending));
    self.reset();

    const auto answer = co_await pending;

    self = weakSelf.lock();
    if (self) self->take(answer);
}

void UpdateChecker::take(const std::optional<Answer>& answer) {
    // It may have been switched off since.
    if (!platform.defaults.get(automaticChecksEnabled)) return _available.set(std::nullopt);
    if (!answer) return log.info("update: the service does not answer");
    if (!*answer)
        return log.info(
            "update: the request failed, reason %d", static_cast<int>((*answer).error().kind));
    if ((*answer)->status != 200)
        return log.info("update: the service answered with status %d", (*answer)->status);
    auto manifest = UpdateManifest::decode((*answer)->body);
    if (!manifest)
        return log.warning("update: %zu bytes that are no manifest", (*answer)->body.size());
    if (!manifest->isNewer(platform.build.build.value_or(""))) manifest.reset();
    log.info("update: checked, %s", manifest ? "there is a newer build" : "nothing newer");
    _available.set(std::move(manifest));
}

void UpdateChecker::openDownloadPage() {
    if (const auto base = address()) platform.opener.openURL(base->url("/mac"));
}

/// Never the address itself into the log: it may hold a password.
std::optional<ServiceAddress> UpdateChecker::address() const {
    const auto text = platform.defaults.get(serviceAddress);
    auto parsed = ServiceAddress::parse(text);
    if (!parsed && !text.empty())
        log.warning("update: the address is refused, it must be https, or http on this machine");
    return parsed;
}

} // namespace nimbe
