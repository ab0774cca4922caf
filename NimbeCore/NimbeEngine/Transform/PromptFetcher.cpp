#include "NimbeEngine/Transform/PromptFetcher.h"

#include <utility>

#include "Foundation/ServiceAddress.h"
#include "Foundation/TaskScope.h"

namespace nimbe {

std::shared_ptr<PromptFetcher> PromptFetcher::create(const Platform& platform) {
    return std::shared_ptr<PromptFetcher>(new PromptFetcher(platform));
}

PromptFetcher::PromptFetcher(const Platform& lent) : platform(lent), log(lent.log, "prompts") {}

void PromptFetcher::start() {
    daily = startTask(platform.actor, fetchDaily(weak_from_this()));
}

Task<void> PromptFetcher::fetchDaily(std::weak_ptr<PromptFetcher> weakSelf) {
    for (;;) {
        auto self = weakSelf.lock();
        if (!self) co_return;
        auto& actor = self->platform.actor;
        self->fetch();
        self.reset();
        co_await sleep(actor, interval);
    }
}

void PromptFetcher::fetch() {
    asking.reset();
    if (auto url = address()) asking = startTask(platform.actor, ask(weak_from_this(), *url));
}

Task<void> PromptFetcher::ask(std::weak_ptr<PromptFetcher> weakSelf, std::string url) {
    auto self = weakSelf.lock();
    if (!self) co_return;
    HttpRequest request;
    request.url = url;
    request.headers.emplace_back("Accept", "application/json");
    request.deadline = deadline;
    request.largestBody = PromptRegistry::largestBody;
    // Redirects are not followed: who answers is whom the user has named.
    auto sending = self->platform.http.send(std::move(request));
    auto pending = withDeadline(self->platform.actor, deadline, std::move(sending));
    self.reset();

    const auto answer = co_await pending;

    self = weakSelf.lock();
    // The address may have been taken back since.
    if (self && self->address() == url) self->take(answer);
}

void PromptFetcher::take(const std::optional<Answer>& answer) {
    if (!answer) return log.info("prompts: the service does not answer");
    if (!*answer)
        return log.info(
            "prompts: the request failed, reason %d", static_cast<int>((*answer).error().kind));
    if ((*answer)->status != 200)
        return log.info("prompts: the service answered with status %d", (*answer)->status);
    // It logs for itself why a table is not taken.
    (void)platform.registry.accept((*answer)->body);
}

/// Never the address itself into the log: it may hold a password.
std::optional<std::string> PromptFetcher::address() const {
    const auto text = platform.defaults.get(serviceAddress);
    const auto parsed = ServiceAddress::parse(text);
    if (parsed) return parsed->url("/api/prompts");
    if (!text.empty())
        log.warning("prompts: the address is refused, it must be https, or http on this machine");
    return std::nullopt;
}

} // namespace nimbe
