#pragma once

#include <string>
#include <vector>

#include "Foundation/RunLoop.h"
#include "Foundation/UserDefaults.h"
#include "NimbeEngine/Speech/SpeechModels.h"
#include "NimbeShell/CommandLine.h"
#include "NimbeShell/ProgressBar.h"

namespace nimbe {

struct ModelsOptions {
    enum class Verb { list, status, install, remove, verify };
    Verb verb = Verb::list;
    std::vector<std::string> models = {}; // ids; for status and verify none means all
    std::string address = {};             // empty: the setting's
    bool isJson = false;
};

/// What the verbs of the speech models work on.
struct ModelServices {
    SpeechModels& models;
    UserDefaults& defaults;
    RunLoop& loop; // the models' main actor; it runs while a verb waits
    ProgressBar::Form progress = ProgressBar::Form::lines;
    int columns = 80; // of the terminal that the progress is shown on
};

[[nodiscard]] int runModels(
    const ModelsOptions& options, const ModelServices& services, Streams streams);

} // namespace nimbe
