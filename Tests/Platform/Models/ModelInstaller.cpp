#include <filesystem>

#include "Foundation/Log.h"
#include "Foundation/RunLoop.h"
#include "PlatformHttp/CurlHttpClient.h"
#include "PlatformModels/SpeechModelStore.h"
#include "TestModel.h"

// Installs the test's model below FOLDER from ADDRESS. The tests kill it meanwhile.

namespace nimbe {
namespace {

Task<void> install(SpeechModels& models, const SpeechModel& model, std::string address, int& code) {
    auto installing = models.install(model, std::move(address), {});
    const auto outcome = co_await installing;
    code = outcome ? 0 : 10 + static_cast<int>(outcome.error().kind);
}

} // namespace
} // namespace nimbe

int main(int argc, char** argv) {
    using namespace nimbe;
    if (argc != 3) return 2;
    const std::filesystem::path folder = argv[1];
    RunLoop loop;
    StandardErrorLog log(LogLevel::error);
    CurlHttpClient http(loop);
    SpeechModelStore store(
        loop, http, {folder / "models", folder / "cache", folder / "packaged"}, log);
    const TestModel test;
    int code = 1;
    loop.runUntilDone(install(store, test.model, argv[2], code));
    return code;
}
