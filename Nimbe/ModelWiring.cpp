#include "ModelWiring.h"

#include <unistd.h>
#include <utility>

#include "PlatformHttp/CurlHttpClient.h"
#include "PlatformModels/SpeechModelStore.h"
#include "PlatformStorage/DataFolders.h"

namespace nimbe {
namespace {

using Form = DownloadProgress::Form;

struct ModelStack {
    ModelStack(RunLoop& loop, UserDefaults& defaults, const DataFolders& folders,
        std::filesystem::path packaged, LogSink& log)
        : http(loop),
          store(loop, http,
              {folders.data / "models", folders.cache / "models", std::move(packaged)}, log),
          services{store, defaults, loop, ::isatty(STDERR_FILENO) == 1 ? Form::bar : Form::lines} {}

    CurlHttpClient http;
    SpeechModelStore store;
    ModelServices services;
};

} // namespace

std::shared_ptr<const ModelServices> makeModelServices(RunLoop& loop, UserDefaults& defaults,
    const DataFolders& folders, std::filesystem::path packaged, LogSink& log) {
    auto stack = std::make_shared<ModelStack>(loop, defaults, folders, std::move(packaged), log);
    const ModelServices* services = &stack->services;
    return {std::move(stack), services};
}

} // namespace nimbe
