#include "PlatformAudio/PulseAudioInput.h"

#include "Foundation/TaskScope.h"
#include "PlatformAudio/PulseAudioEngine.h"
#include "PlatformAudio/PulseConnection.h"
#include "PlatformAudio/PulseSource.h"

namespace nimbe {
namespace {

using Error = MacAudioInputError;
using Devices = std::vector<MicrophoneDevice>;

constexpr Seconds deadline = 1;

Task<Result<Devices, Error>> microphones(
    MainActor& actor, std::shared_ptr<PulseConnection> connection) {
    auto pending = withDeadline(actor, deadline, PulseSource::all(std::move(connection)));
    const auto sources = co_await pending;
    if (!sources || !*sources) co_return failure(Error::inputAudioUnitUnavailable);
    Devices devices;
    for (const auto& source : **sources)
        if (!source.isMonitor) devices.push_back(MicrophoneDevice{source.name, source.description});
    co_return devices;
}

} // namespace

PulseAudioInput::PulseAudioInput(MainActor& actor, LogSink& sink)
    : actor(actor), sink(sink), connection(PulseConnection::create(actor)) {}

Task<Result<Devices, Error>> PulseAudioInput::devices() {
    return microphones(actor, connection);
}

Token PulseAudioInput::observeDevices(std::function<void()> onChange) {
    return connection->observe(std::move(onChange));
}

std::unique_ptr<AudioEngine> PulseAudioInput::makeAudioEngine() {
    return std::make_unique<PulseAudioEngine>(connection, actor, sink);
}

} // namespace nimbe
