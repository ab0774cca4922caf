#include "PlatformModels/ModelPlaces.h"

#include <algorithm>
#include <array>
#include <cerrno>

namespace nimbe {

namespace fs = std::filesystem;

std::optional<std::uint64_t> ModelPlaces::lengthOf(const fs::path& file) {
    std::error_code error;
    if (!fs::is_regular_file(file, error)) return std::nullopt;
    const auto length = fs::file_size(file, error);
    return error ? std::nullopt : std::optional<std::uint64_t>(length);
}

fs::path ModelPlaces::partial(const SpeechModel::File& file) const {
    constexpr std::size_t digits = 12; // enough to tell a few versions apart
    return downloads /
           (std::string(file.name) + "." + std::string(file.sha256.substr(0, digits)) + ".partial");
}

std::uint64_t ModelPlaces::downloaded(const SpeechModel& model) const {
    std::uint64_t sum = 0;
    for (const auto& file : model.files)
        sum += std::min(lengthOf(partial(file)).value_or(0), file.bytes);
    return sum;
}

std::optional<SpeechModels::Place> ModelPlaces::installed(const SpeechModel& model) const {
    if (isWhole(folder, model)) return SpeechModels::Place{folder, false};
    if (isWhole(packaged, model)) return SpeechModels::Place{packaged, true};
    return std::nullopt;
}

bool ModelPlaces::hasLeftovers() const {
    return exists(staging) || exists(removed) || exists(downloads);
}

bool ModelPlaces::isWhole(const fs::path& folder, const SpeechModel& model) {
    return std::all_of(model.files.begin(), model.files.end(),
        [&](const auto& file) { return lengthOf(folder / file.name) == file.bytes; });
}

bool ModelPlaces::exists(const fs::path& path) {
    std::error_code error;
    return fs::exists(fs::symlink_status(path, error));
}

SpeechModelError diskError(std::error_code error, const char* step, std::string_view file) {
    using Kind = SpeechModelError::Kind;
    constexpr std::array full{std::errc::no_space_on_device, std::errc::file_too_large,
        std::errc{EDQUOT}}; // the standard library has no name for a quota
    constexpr std::array closed{std::errc::permission_denied, std::errc::operation_not_permitted,
        std::errc::read_only_file_system, std::errc::not_a_directory, std::errc::is_a_directory,
        std::errc::file_exists, std::errc::too_many_symbolic_link_levels,
        std::errc::filename_too_long};
    const auto isOneOf = [&](const auto& codes) {
        return std::any_of(
            codes.begin(), codes.end(), [&](std::errc code) { return error == code; });
    };
    auto kind = Kind::failed;
    if (isOneOf(full)) kind = Kind::noSpace;
    if (isOneOf(closed)) kind = Kind::notWritable;
    // What had come is gone: the folder of downloads may vanish at any time.
    if (error == std::errc::no_such_file_or_directory) kind = Kind::brokenOff;
    return {kind, std::string(step) + ": " + error.message(), std::string(file)};
}

} // namespace nimbe
