#pragma once

#include <functional>
#include <string>

#include "Foundation/RunLoop.h"
#include "NimbeEngine/Speech/DictationEngine.h"
#include "NimbeShell/CommandLine.h"

namespace nimbe {

class ShellServices;

struct ListenOptions {
    std::string model;          // empty: the default
    std::string mode = "notes"; // of what is saved
    bool isRaw = false;
    bool isJson = false;
    bool isSaved = false;
};

/// What the verb works on.
struct ListenServices {
    DictationEngine& engine;
    AudioInput& input;
    RunLoop& loop;
    /// Calls on the main thread when the recogniser is ready, or cannot be.
    std::function<void(std::function<void()>)> whenReady;
    /// Calls once, on the main thread, when the user ends the dictation; until the
    /// token is dropped.
    std::function<Token(std::function<void()>)> onEndOfInput;
    /// Columns of the terminal on standard error; 0: none.
    int columns = 0;
};

/// One dictation from the microphone to standard output. Partial text and the level
/// show on a terminal's standard error meanwhile.
[[nodiscard]] int runListen(const ListenOptions& options, const ListenServices& services,
    ShellServices& shell, Streams streams);

} // namespace nimbe
