#include "PlatformSpeech/SileroVoiceDetector.h"

#include <algorithm>
#include <stdexcept>

namespace nimbe {

SileroVoiceDetector::SileroVoiceDetector(const std::filesystem::path& file)
    : session(onnx::session(file, 1)) {
    if (session.GetInputCount() != 3 || session.GetOutputCount() != 2)
        throw std::runtime_error("the voice detector has other inputs than expected");
}

double SileroVoiceDetector::probability(std::span<const float, windowSize> window) {
    std::copy(window.begin(), window.end(), input.begin() + contextSize);

    constexpr std::array<std::int64_t, 2> inputShape{1, contextSize + windowSize};
    constexpr std::array<std::int64_t, 3> stateShape{2, 1, 128};
    std::int64_t rate = 16000;
    const std::array<Ort::Value, 3> inputs{onnx::view<float>(input, inputShape),
        onnx::view<float>(state, stateShape), onnx::view<std::int64_t>({&rate, 1}, {})};
    constexpr std::array inputNames{"input", "state", "sr"};
    constexpr std::array outputNames{"output", "stateN"};
    const auto outputs = session.Run(Ort::RunOptions{nullptr}, inputNames.data(), inputs.data(),
        inputs.size(), outputNames.data(), outputNames.size());

    std::copy_n(outputs[1].GetTensorData<float>(), state.size(), state.begin());
    std::copy(input.end() - contextSize, input.end(), input.begin());
    return static_cast<double>(*outputs[0].GetTensorData<float>());
}

void SileroVoiceDetector::reset() {
    input.fill(0);
    state.fill(0);
}

} // namespace nimbe
