#pragma once

#include <filesystem>
#include <memory>

#include "NimbeShell/ModelsCommand.h"

namespace nimbe {

class LogSink;
struct DataFolders;

/// The services with all that stands behind them; what they are made with outlives them.
/// `packaged`: the folder of the models that come with the program.
[[nodiscard]] std::shared_ptr<const ModelServices> makeModelServices(RunLoop& loop,
    UserDefaults& defaults, const DataFolders& folders, std::filesystem::path packaged,
    LogSink& log);

} // namespace nimbe
