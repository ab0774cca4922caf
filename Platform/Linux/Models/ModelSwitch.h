#pragma once

#include <memory>
#include <stop_token>

#include "Foundation/Result.h"
#include "PlatformModels/ModelPlaces.h"
#include "PlatformStorage/FileLock.h"

namespace nimbe {

using ModelLock = std::shared_ptr<FileLock>;

/// The steps of an installation that change what is on disk, but for the download.
/// They block: not on the main thread. All under the model's lock.
struct ModelSwitch {
    /// Makes the folders and takes the lock.
    [[nodiscard]] static Result<ModelLock, SpeechModelError> begin(const ModelPlaces& places);

    /// Uses or removes what a killed process has left.
    static void cleanUp(const ModelPlaces& places, const SpeechModel& model);

    /// Whether there is room for what is still to come, and `spare` bytes more.
    [[nodiscard]] static Result<void, SpeechModelError> checkSpace(
        const ModelPlaces& places, const SpeechModel& model, std::uint64_t spare);

    /// Moves the downloaded files, which are whole, into the model's place.
    [[nodiscard]] static Result<void, SpeechModelError> publish(
        const ModelPlaces& places, const SpeechModel& model, const std::stop_token& stop);

    /// Takes the user's own model and what has been downloaded of it away.
    [[nodiscard]] static Result<void, SpeechModelError> remove(const ModelPlaces& places);
};

} // namespace nimbe
