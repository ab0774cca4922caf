#include "NimbeEngine/Audio/AudioCapture.h"

#include <algorithm>
#include <chrono>

#include "NimbeEngine/Audio/AudioLevel.h"
#include "NimbeKitCore/Microphone/MicrophoneSelection.h"

namespace nimbe {
namespace {

// A relaxed counter: nothing is ordered by it.
void count(std::atomic<std::uint64_t>& counter) {
    counter.fetch_add(1, std::memory_order_relaxed);
}

std::uint64_t uptimeNs() {
    using namespace std::chrono;
    return static_cast<std::uint64_t>(
        duration_cast<nanoseconds>(steady_clock::now().time_since_epoch()).count());
}

} // namespace

void CaptureDiagnostics::reset() {
    tapBuffers = converted = converterErrors = lastConvertedFrames = analyzerYields = 0;
    lastError = "";
    firstTapUptimeNs = lastTapUptimeNs = 0;
}

std::string_view message(const CaptureFailure& failure) {
    return std::visit([](const auto& reason) { return message(reason); }, failure);
}

AudioCapture::AudioCapture(
    AudioInput& input, AudioConverters& converters, UserDefaults& defaults, LogSink& sink)
    : audioInput(input), converters(converters), defaults(defaults), log(sink, "audio") {}

Task<Result<MicrophoneCaptureSelection, MacAudioInputError>> AudioCapture::selection() {
    using Kind = MicrophoneCaptureSelection::Kind;
    const auto uid = MicrophoneSelection::resolvedUID(defaults);
    if (MicrophoneCapturePolicy::isSystemDefault(uid))
        co_return MicrophoneCaptureSelection{Kind::systemDefault};
    auto asking = audioInput.devices();
    const auto devices = co_await asking;
    if (!devices) co_return failure(MacAudioInputError::selectedInputUnavailable);
    auto selected = MicrophoneCapturePolicy::selection(uid, *devices);
    if (selected.kind == Kind::unavailableExplicit)
        co_return failure(MacAudioInputError::selectedInputUnavailable);
    co_return selected;
}

Task<Result<void, CaptureFailure>> AudioCapture::start(
    AudioFormat targetFormat, AudioSink& sink, std::function<void(CaptureFailure)> onEnded) {
    abandon();
    levelStore.clear();
    diagnostics.reset();
    auto selecting = selection();
    auto selected = co_await selecting;
    if (!selected) co_return failure(CaptureFailure(selected.error()));

    audioEngine = audioInput.makeAudioEngine();
    auto asking = audioEngine->inputFormat(std::move(*selected));
    const auto format = co_await asking;
    if (!format) {
        abandon();
        co_return failure(CaptureFailure(format.error()));
    }
    if (auto prepared = prepareConversion(*format, targetFormat); !prepared) {
        abandon();
        co_return prepared;
    }
    continuation = &sink;
    tapInstalled = true;
    diagnostics.lastTapUptimeNs = uptimeNs();
    auto starting = audioEngine->start(
        *this, tapBufferSize, [this, onEnded = std::move(onEnded)](MacAudioInputError error) {
            drain();
            onEnded(error);
        });
    const auto started = co_await starting;
    if (!started) {
        abandon();
        co_return failure(CaptureFailure(started.error()));
    }
    co_return Result<void, CaptureFailure>();
}

Result<void, CaptureFailure> AudioCapture::prepareConversion(AudioFormat from, AudioFormat to) {
    inputSampleRate = from.sampleRate;
    inputChannels = from.channels;
    // Not written as "<= 0": a rate may be no number.
    if (!(from.sampleRate > 0) || from.channels == 0)
        return failure(CaptureFailure(CaptureError::noUsableInputFormat));
    const auto capacity = conversionCapacity(from.sampleRate, to.sampleRate);
    if (from != to) converter = converters.make(from, to);
    if (!capacity || (from != to && !converter))
        return failure(CaptureFailure(CaptureError::noUsableInputFormat));
    conversionRing.emplace(to, *capacity);
    return {};
}

void AudioCapture::hear(std::span<const float> samples) noexcept {
    count(diagnostics.tapBuffers);
    const auto now = uptimeNs();
    diagnostics.lastTapUptimeNs.store(now, std::memory_order_relaxed);
    if (diagnostics.firstTapUptimeNs.load(std::memory_order_relaxed) == 0)
        diagnostics.firstTapUptimeNs.store(now, std::memory_order_relaxed);
    levelStore.store(audioLevel(samples, inputChannels));
    if (converter) {
        convert(samples);
        return;
    }
    auto& buffer = conversionRing->take();
    buffer.frameLength = std::min(samples.size() / inputChannels, buffer.frameCapacity());
    std::copy_n(samples.begin(), buffer.frameLength * inputChannels, buffer.samples.begin());
    hand(buffer);
}

void AudioCapture::convert(std::span<const float> samples) noexcept {
    auto& buffer = conversionRing->take();
    if (!converter->convert(samples, buffer)) {
        count(diagnostics.converterErrors);
        diagnostics.lastError = converter->error();
        return;
    }
    count(diagnostics.converted);
    diagnostics.lastConvertedFrames = buffer.frameLength;
    hand(buffer);
}

void AudioCapture::hand(const PCMBuffer& buffer) noexcept {
    if (buffer.frameLength == 0) return;
    continuation->yield({buffer});
    count(diagnostics.analyzerYields);
}

/// What the converter still holds: the end of the last word.
void AudioCapture::drain() {
    if (!converter) return;
    auto& buffer = conversionRing->take();
    if (converter->drain(buffer)) hand(buffer);
    converter.reset(); // nothing is heard after this
}

bool AudioCapture::isStalled() const {
    constexpr std::uint64_t longest = 1'000'000'000;
    return tapInstalled && uptimeNs() > diagnostics.lastTapUptimeNs + longest;
}

Task<void> AudioCapture::stop() {
    if (!audioEngine) co_return;
    auto stopping = audioEngine->stop();
    co_await stopping;
    if (tapInstalled) drain();
    log.info("audio: stopped, taps=%llu converted=%llu errors=%llu yields=%llu%s%s",
        static_cast<unsigned long long>(diagnostics.tapBuffers),
        static_cast<unsigned long long>(diagnostics.converted),
        static_cast<unsigned long long>(diagnostics.converterErrors),
        static_cast<unsigned long long>(diagnostics.analyzerYields),
        diagnostics.converterErrors > 0 ? " lastError=" : "", diagnostics.lastError.load());
    abandon();
}

void AudioCapture::abandon() {
    audioEngine.reset(); // the tap is not called after this
    tapInstalled = false;
    converter.reset();
    conversionRing.reset();
    continuation = nullptr;
}

} // namespace nimbe
