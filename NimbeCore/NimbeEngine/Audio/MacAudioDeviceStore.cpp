#include "NimbeEngine/Audio/MacAudioDeviceStore.h"

#include "NimbeKitCore/Microphone/MicrophoneCapturePolicy.h"
#include "NimbeKitCore/Microphone/MicrophoneSelection.h"

namespace nimbe {

MacAudioDeviceStore::MacAudioDeviceStore(
    MainActor& actor, AudioInput& input, UserDefaults& defaults, LogSink& sink)
    : _devices(MicrophoneCapturePolicy::offered({}, MicrophoneSelection::preferredUID(defaults))),
      actor(actor), input(input), defaults(defaults), log(sink, "audio"),
      changes(input.observeDevices([this] { refresh(); })) {
    refresh();
}

void MacAudioDeviceStore::refresh() {
    refreshing = startTask(actor, ask());
}

Task<void> MacAudioDeviceStore::ask() {
    auto asking = input.devices();
    const auto answer = co_await asking;
    // Without an answer only the default is offered, and what was chosen before.
    if (!answer) log.warning("audio: the microphones could not be listed");
    const auto present = answer.value_or(std::vector<MicrophoneDevice>());
    _devices.set(
        MicrophoneCapturePolicy::offered(present, MicrophoneSelection::preferredUID(defaults)));
}

bool MacAudioDeviceStore::select(const std::string& uid) {
    const bool isStored = defaults.set(MicrophoneSelection::selectedInput, uid);
    refresh();
    return isStored;
}

} // namespace nimbe
