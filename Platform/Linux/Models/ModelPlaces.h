#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <system_error>

#include "NimbeEngine/Speech/SpeechModel.h"
#include "NimbeEngine/Speech/SpeechModels.h"

namespace nimbe {

/// Where the files of one model are at each stage. Looks, and changes nothing. Any thread.
struct ModelPlaces {
    std::filesystem::path folder;    // installed by the user
    std::filesystem::path packaged;  // came with the program
    std::filesystem::path staging;   // beside `folder`: one rename away
    std::filesystem::path removed;   // likewise
    std::filesystem::path lock;      // of whoever works on the model
    std::filesystem::path downloads; // what has come so far

    /// Its name holds the digest: of another version of the model nothing is gone on with.
    [[nodiscard]] std::filesystem::path partial(const SpeechModel::File& file) const;
    /// Bytes in the partial files, of each at most those of the whole file.
    [[nodiscard]] std::uint64_t downloaded(const SpeechModel& model) const;
    [[nodiscard]] std::optional<SpeechModels::Place> installed(const SpeechModel& model) const;
    /// Installed by the user.
    [[nodiscard]] bool hasOwn(const SpeechModel& model) const { return isWhole(folder, model); }
    /// Something that an installed model has no use for.
    [[nodiscard]] bool hasLeftovers() const;

    /// A folder with all files of the model, of the right lengths.
    [[nodiscard]] static bool isWhole(
        const std::filesystem::path& folder, const SpeechModel& model);
    /// Absent when there is no regular file; links are followed.
    [[nodiscard]] static std::optional<std::uint64_t> lengthOf(const std::filesystem::path& file);
    /// Anything of that name, a broken link too.
    [[nodiscard]] static bool exists(const std::filesystem::path& path);
};

/// What went wrong with a file on disk, as the user is told of it.
[[nodiscard]] SpeechModelError diskError(
    std::error_code error, const char* step, std::string_view file = {});

} // namespace nimbe
