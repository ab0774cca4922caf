#include "NimbeUI/AIClientsViewModel.h"

#include "NimbeUI/QtText.h"

namespace nimbe {

AIClientsViewModel::AIClientsViewModel(DesktopActions& actions)
    : setup(actions.all().clients),
      statusChanges(setup._status.observe([this](const auto&) { emit changed(); })),
      copies(setup._isCommandCopied.observe([this](bool) { emit changed(); })) {
    setup.refresh();
}

QString AIClientsViewModel::status() const {
    const auto& status = setup._status.get();
    if (const auto* failed = std::get_if<MCPSetup::Failed>(&status)) return qtText(failed->message);
    return isConnected() ? tr("Claude Desktop can read them. Restart it if it is running.")
                         : tr("Claude Desktop is not connected.");
}

bool AIClientsViewModel::isConnected() const {
    return std::holds_alternative<MCPSetup::Configured>(setup._status.get());
}

bool AIClientsViewModel::hasFailed() const {
    return std::holds_alternative<MCPSetup::Failed>(setup._status.get());
}

bool AIClientsViewModel::isCommandCopied() const {
    return setup._isCommandCopied.get();
}

void AIClientsViewModel::toggle() {
    isConnected() ? setup.remove() : setup.install();
}

void AIClientsViewModel::copyCommand() {
    setup.copyCommand();
}

void AIClientsViewModel::refresh() {
    if (!hasFailed()) setup.refresh(); // what went wrong stays to be read
}

} // namespace nimbe
