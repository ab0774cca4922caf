#include "NimbeApp/MCPSetup.h"

#include <utility>

namespace nimbe {

std::shared_ptr<MCPSetup> MCPSetup::create(Platform platform) {
    return std::shared_ptr<MCPSetup>(new MCPSetup(platform));
}

MCPSetup::MCPSetup(Platform lent) : platform(lent), log(lent.log, "mcp") {}

void MCPSetup::install() {
    auto problem = platform.registration.install();
    _status.set(problem ? Status(Failed{std::move(problem->message)}) : Status(Configured()));
}

void MCPSetup::remove() {
    auto problem = platform.registration.remove();
    _status.set(problem ? Status(Failed{std::move(problem->message)}) : Status(Unknown()));
}

void MCPSetup::refresh() {
    const auto state = platform.registration.state();
    _status.set(state && state->isThisProgram ? Status(Configured()) : Status(Unknown()));
}

void MCPSetup::copyCommand() {
    copying = startTask(platform.actor, copy(weak_from_this()));
}

Task<void> MCPSetup::copy(std::weak_ptr<MCPSetup> weakSelf) {
    auto self = weakSelf.lock();
    if (!self) co_return;
    auto& actor = self->platform.actor;
    auto contents = PasteboardContents::plainText(self->platform.registration.commandLine());
    auto writing = self->platform.pasteboard.write(std::move(contents));
    self.reset();

    const auto change = co_await writing;

    self = weakSelf.lock();
    if (!self) co_return;
    if (!change) self->log.warning("mcp: the clipboard could not be taken over");
    self->_isCommandCopied.set(change.has_value());
    if (!change) co_return;
    self.reset();

    co_await sleep(actor, copiedShown);

    self = weakSelf.lock();
    if (self) self->_isCommandCopied.set(false);
}

} // namespace nimbe
