#pragma once

#include "Foundation/UserDefaults.h"

namespace nimbe {

/// The question, put once, whether the history is to be kept in sync. Any thread.
class HistorySyncPrompt {
public:
    inline static const Setting<bool> historyEnabled{"historyEnabled", false};
    inline static const Setting<bool> historySyncPrompted{"historySyncPrompted", false};

    explicit HistorySyncPrompt(UserDefaults& defaults) : defaults(defaults) {}

    [[nodiscard]] bool isOffered() { return !defaults.get(historySyncPrompted); }

    // False: nothing was stored, and the question stays open.
    [[nodiscard]] bool accept();
    [[nodiscard]] bool dismiss() { return defaults.set(historySyncPrompted, true); }

private:
    UserDefaults& defaults;
};

} // namespace nimbe
