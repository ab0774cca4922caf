#pragma once

#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "NimbeEngine/Audio/AudioInput.h"

namespace nimbe {

/// Microphones by script. Each step answers at once, with the error that is set for
/// it, or never.
class FakeAudioInput final : public AudioInput {
public:
    enum class Step { devices, inputFormat, start, stop };

    std::vector<MicrophoneDevice> present;
    AudioFormat format{16000, 1};
    std::optional<Step> failing;
    MacAudioInputError error = MacAudioInputError::inputAudioUnitUnavailable;
    std::optional<Step> hanging;

    // What happened, in order: "devices", "format:UID", "start", "stop", "close".
    std::vector<std::string> steps;
    AudioTap* tap = nullptr; // while a microphone is open
    std::function<void(MacAudioInputError)> onEnded;
    std::function<void()> onStop; // before the stop ends: the last sound
    std::function<void()> onChange;

    Task<Result<std::vector<MicrophoneDevice>, MacAudioInputError>> devices() override {
        steps.emplace_back("devices");
        if (hanging == Step::devices) co_await never();
        if (failing == Step::devices) co_return failure(error);
        co_return present;
    }
    Token observeDevices(std::function<void()> change) override {
        onChange = std::move(change);
        return Token(std::make_shared<int>());
    }
    std::unique_ptr<AudioEngine> makeAudioEngine() override {
        return std::make_unique<Engine>(*this);
    }

    /// From the microphone that is open.
    void say(const std::vector<float>& samples) const { tap->hear(samples); }

private:
    class Engine final : public AudioEngine {
    public:
        explicit Engine(FakeAudioInput& input) : input(input) {}
        ~Engine() override {
            input.steps.emplace_back("close");
            input.tap = nullptr;
        }
        Task<Result<AudioFormat, MacAudioInputError>> inputFormat(
            MicrophoneCaptureSelection selection) override {
            input.steps.push_back("format:" + selection.uid);
            if (input.hanging == Step::inputFormat) co_await never();
            if (input.failing == Step::inputFormat) co_return failure(input.error);
            co_return input.format;
        }
        Task<Result<void, MacAudioInputError>> start(AudioTap& tap, std::size_t /*bufferFrames*/,
            std::function<void(MacAudioInputError)> onEnded) override {
            input.steps.emplace_back("start");
            if (input.hanging == Step::start) co_await never();
            if (input.failing == Step::start) co_return failure(input.error);
            input.tap = &tap;
            input.onEnded = std::move(onEnded);
            co_return Result<void, MacAudioInputError>();
        }
        Task<void> stop() override {
            input.steps.emplace_back("stop");
            if (input.onStop) input.onStop();
            if (input.hanging == Step::stop) co_await never();
            input.tap = nullptr;
        }

    private:
        FakeAudioInput& input;
    };
};

} // namespace nimbe
