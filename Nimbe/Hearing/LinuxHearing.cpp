#include "NimbeApp/HearingModule.h"
#include "PlatformAudio/PulseAudioInput.h"
#include "PlatformAudio/SampleRateConverters.h"
#include "PlatformAudioFile/SndfileAudioFiles.h"
#include "PlatformHttp/CurlHttpClient.h"
#include "PlatformModels/SpeechModelStore.h"
#include "PlatformSpeech/OnnxSpeechRuntime.h"

namespace nimbe {
namespace {

/// Models with what they are downloaded by.
class LinuxSpeechModels final : public SpeechModels {
public:
    LinuxSpeechModels(MainActor& actor, const HearingModule::ModelFolders& folders, LogSink& sink)
        : http(actor),
          store(actor, http, {folders.installed, folders.downloads, folders.packaged}, sink) {}

    std::optional<Place> installed(const SpeechModel& model) override {
        return store.installed(model);
    }
    std::uint64_t downloaded(const SpeechModel& model) override { return store.downloaded(model); }
    Task<Result<void, SpeechModelError>> install(const SpeechModel& model, std::string address,
        std::function<void(Progress)> onProgress) override {
        return store.install(model, std::move(address), std::move(onProgress));
    }
    Result<void, SpeechModelError> remove(const SpeechModel& model) override {
        return store.remove(model);
    }
    Task<Result<void, SpeechModelError>> verify(const SpeechModel& model) override {
        return store.verify(model);
    }

private:
    CurlHttpClient http;
    SpeechModelStore store;
};

class LinuxHearing final : public HearingModule {
public:
    std::unique_ptr<AudioInput> makeAudioInput(MainActor& actor, LogSink& sink) override {
        return std::make_unique<PulseAudioInput>(actor, sink);
    }
    std::unique_ptr<SpeechModels> makeSpeechModels(
        MainActor& actor, const ModelFolders& folders, LogSink& sink) override {
        return std::make_unique<LinuxSpeechModels>(actor, folders, sink);
    }
    AudioConverters& audioConverters() override { return converters; }
    AudioFiles& audioFiles() override { return files; }
    SpeechRuntime& speechRuntime() override { return runtime; }

private:
    SampleRateConverters converters;
    SndfileAudioFiles files;
    OnnxSpeechRuntime runtime;
};

} // namespace
} // namespace nimbe

extern "C" __attribute__((visibility("default"))) nimbe::HearingModule* nimbeHearingModule() {
    static nimbe::LinuxHearing hearing;
    return &hearing;
}
