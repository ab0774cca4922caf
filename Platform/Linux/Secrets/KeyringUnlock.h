#pragma once

#include <functional>

#include "Foundation/Log.h"
#include "Foundation/MainActor.h"

namespace nimbe {

/// Asks the desktop to unlock the default keyring of freedesktop.org's Secret Service, by
/// the desktop's own prompt.
class KeyringUnlock {
public:
    /// For each question to the service but the one to the user.
    static constexpr Seconds patience = 5;

    enum class Outcome {
        unlocked,    // by the user, just now
        refused,     // the user closed the prompt, or there is nobody to show it
        unnecessary, // it was unlocked already, or there is none
        unreachable  // no service answers, or it has gone meanwhile
    };

    /// Calls `onDone` once on the main thread, after as long as the user takes. Dropping
    /// the token takes the prompt away, and nothing is called then; that may take half a
    /// second. Main thread.
    [[nodiscard]] static Token request(
        MainActor& actor, LogSink& sink, std::function<void(Outcome)> onDone);
};

} // namespace nimbe
