#include "PlatformSpeech/OnnxRuntime.h"

#include <onnxruntime_session_options_config_keys.h>
#include <stdexcept>

namespace nimbe::onnx {

Ort::Env& environment() {
    // Before the first use of anything else of the runtime.
    static const bool isReady = [] {
        const OrtApi* api = OrtGetApiBase()->GetApi(ORT_API_VERSION);
        if (!api) throw std::runtime_error("the speech runtime is too old");
        Ort::InitApi(api);
        return true;
    }();
    static Ort::Env env(ORT_LOGGING_LEVEL_FATAL, "nimbe");
    (void)isReady;
    return env;
}

Ort::Session session(const std::filesystem::path& file, int threads) {
    auto& env = environment();
    Ort::SessionOptions options;
    options.SetIntraOpNumThreads(threads);
    options.SetInterOpNumThreads(1);
    options.SetGraphOptimizationLevel(ORT_ENABLE_ALL);
    // Every call has another length: patterns of use never come again.
    options.DisableMemPattern();
    // Waiting threads would take the time from whoever works.
    options.AddConfigEntry(kOrtSessionOptionsConfigAllowIntraOpSpinning, "0");
    // The decoder's output matrix is then unpacked once instead of for every token:
    // half the time of a step, 90 MB, the same text.
    options.AddConfigEntry(kOrtSessionOptionsDisableQuantQDQ, "1");
    return {env, file.c_str(), options};
}

namespace {

template <typename Count, typename Name>
std::vector<std::string> names(Count count, Name name) {
    Ort::AllocatorWithDefaultOptions allocator;
    std::vector<std::string> all;
    all.reserve(count);
    for (std::size_t i = 0; i < count; ++i) all.emplace_back(name(i, allocator).get());
    return all;
}

} // namespace

std::vector<std::string> inputNames(const Ort::Session& session) {
    return names(session.GetInputCount(), [&](std::size_t i, OrtAllocator* allocator) {
        return session.GetInputNameAllocated(i, allocator);
    });
}

std::vector<std::string> outputNames(const Ort::Session& session) {
    return names(session.GetOutputCount(), [&](std::size_t i, OrtAllocator* allocator) {
        return session.GetOutputNameAllocated(i, allocator);
    });
}

} // namespace nimbe::onnx
