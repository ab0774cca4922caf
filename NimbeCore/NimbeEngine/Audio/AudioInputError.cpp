#include "NimbeEngine/Audio/AudioInputError.h"

namespace nimbe {

std::string_view message(MacAudioInputError error) {
    switch (error) {
    case MacAudioInputError::inputAudioUnitUnavailable:
    case MacAudioInputError::selectionRejected:
    case MacAudioInputError::selectionVerificationFailed:
        return "Nimbe could not open the selected microphone. Choose another microphone in "
               "Settings.";
    case MacAudioInputError::defaultInputUnavailable:
        return "No system microphone is available. Connect a microphone and try again.";
    case MacAudioInputError::selectedInputUnavailable:
        return "The selected microphone is unavailable. Choose another microphone in Settings.";
    case MacAudioInputError::outputRouteChanged:
        return "Nimbe stopped before recording because your audio output changed. Try again after "
               "your headphones reconnect.";
    }
    return {};
}

std::string_view message(CaptureError /*error*/) {
    return "The microphone gives no sound that can be used. Choose another microphone in Settings.";
}

} // namespace nimbe
