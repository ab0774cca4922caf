#pragma once

#include <string_view>

namespace nimbe {

/// Why a recording could not begin or go on.
enum class MacAudioInputError {
    inputAudioUnitUnavailable,
    defaultInputUnavailable,
    selectedInputUnavailable,
    selectionRejected,
    selectionVerificationFailed,
    outputRouteChanged
};

/// For the user.
[[nodiscard]] std::string_view message(MacAudioInputError error);

/// The input reports a sample rate of 0 or no channels.
enum class CaptureError { noUsableInputFormat };

[[nodiscard]] std::string_view message(CaptureError error);

} // namespace nimbe
