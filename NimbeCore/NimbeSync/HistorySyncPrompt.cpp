#include "NimbeSync/HistorySyncPrompt.h"

#include "NimbeSync/PrivacySettings.h"

namespace nimbe {

bool HistorySyncPrompt::accept() {
    return defaults.transaction([&] {
        return PrivacySettings(defaults).setMode(PrivacyMode::privateICloudSync) &&
               defaults.set(historyEnabled, true) && defaults.set(historySyncPrompted, true);
    });
}

} // namespace nimbe
