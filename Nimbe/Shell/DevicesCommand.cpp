#include "NimbeShell/DevicesCommand.h"

#include <algorithm>
#include <ostream>

#include "Foundation/Json.h"
#include "NimbeKitCore/Microphone/MicrophoneCapturePolicy.h"
#include "NimbeKitCore/Microphone/MicrophoneSelection.h"

namespace nimbe {
namespace {

using Devices = std::vector<MicrophoneDevice>;

Task<void> ask(AudioInput& input, std::optional<Result<Devices, MacAudioInputError>>& answer) {
    auto asking = input.devices();
    answer = co_await asking;
}

Json json(const MicrophoneDevice& device, bool isPresent, bool isChosen) {
    Json::Object object;
    object.push_back({"id", Json(device.uid)});
    object.push_back({"name", Json(device.name)});
    object.push_back({"available", Json(isPresent)});
    object.push_back({"chosen", Json(isChosen)});
    return Json(std::move(object));
}

int fail(Streams streams, const std::string& message) {
    streams.error << "nimbe devices: " << message << "\n";
    return ExitCode::failure;
}

int list(const Devices& present, const std::string& preferred, bool isJson, Streams streams) {
    Json::Array all;
    for (const auto& device : MicrophoneCapturePolicy::offered(present, preferred)) {
        const bool isChosen = device.uid == preferred;
        const bool isPresent =
            MicrophoneCapturePolicy::isSystemDefault(device.uid)
                ? !present.empty()
                : std::find(present.begin(), present.end(), device) != present.end();
        all.push_back(json(device, isPresent, isChosen));
        if (isJson) continue;
        streams.output << (isChosen ? "* " : "  ") << device.name;
        if (!MicrophoneCapturePolicy::isSystemDefault(device.uid))
            streams.output << " (" << device.uid << ")";
        streams.output << "\n";
    }
    if (isJson) streams.output << Json(std::move(all)).text(Json::Layout::pretty) << "\n";
    streams.output.flush();
    return streams.output ? ExitCode::success : fail(streams, "The output cannot be written.");
}

} // namespace

int runDevices(const DevicesOptions& options, const DevicesServices& services, Streams streams) {
    std::optional<Result<Devices, MacAudioInputError>> answer;
    services.loop.runUntilDone(ask(services.input, answer));
    if (!answer || !*answer) return fail(streams, "The sound server does not answer.");
    const auto& present = **answer;
    if (options.chosen) {
        const auto chosen =
            *options.chosen == "default" ? MicrophoneDevice::systemDefaultUID : *options.chosen;
        const bool isOffered = MicrophoneCapturePolicy::isSystemDefault(chosen) ||
                               std::any_of(present.begin(), present.end(),
                                   [&](const auto& device) { return device.uid == chosen; });
        if (!isOffered) return fail(streams, "There is no microphone \"" + chosen + "\".");
        if (!services.defaults.set(MicrophoneSelection::selectedInput, chosen))
            return fail(streams, "The choice could not be stored.");
    }
    return list(
        present, MicrophoneSelection::preferredUID(services.defaults), options.isJson, streams);
}

} // namespace nimbe
