#include "NimbeKitCore/UpdateManifest.h"

#include <charconv>
#include <cstdint>

#include "Foundation/Json.h"

namespace nimbe {
namespace {

/// Of a member that may be absent. False: it is of another type.
bool read(const Json& object, std::string_view key, std::optional<std::string>& text) {
    const auto* const member = object.member(key);
    if (!member || member->isNull()) return true;
    if (!member->asString()) return false;
    text = *member->asString();
    return true;
}

std::optional<std::int64_t> number(std::string_view text) {
    if (text.starts_with('+')) {
        text.remove_prefix(1);
        if (text.starts_with('-')) return std::nullopt;
    }
    std::int64_t value = 0;
    const auto* const last = text.data() + text.size();
    const auto [end, error] = std::from_chars(text.data(), last, value);
    if (error != std::errc() || end != last) return std::nullopt;
    return value;
}

} // namespace

std::optional<UpdateManifest> UpdateManifest::decode(std::string_view json) {
    const auto object = Json::parse(json);
    if (!object) return std::nullopt;
    std::optional<std::string> version;
    std::optional<std::string> build;
    UpdateManifest manifest;
    const bool isSound = read(*object, "version", version) && read(*object, "build", build) &&
                         read(*object, "uploadedAt", manifest.uploadedAt) &&
                         read(*object, "notes", manifest.notes);
    if (!isSound || !version || !build) return std::nullopt;
    manifest.version = std::move(*version);
    manifest.build = std::move(*build);
    return manifest;
}

std::string UpdateManifest::encode() const {
    Json::Object object;
    object.push_back({"version", Json(version)});
    object.push_back({"build", Json(build)});
    if (uploadedAt) object.push_back({"uploadedAt", Json(*uploadedAt)});
    if (notes) object.push_back({"notes", Json(*notes)});
    return Json(std::move(object)).text();
}

bool UpdateManifest::isNewer(std::string_view runningBuild) const {
    const auto running = number(runningBuild);
    const auto published = number(build);
    return running && published && *running < *published;
}

std::string BuildStamp::displayText() const {
    return "Nimbe " + version.value_or("?") + " (" + build.value_or("?") + ")";
}

} // namespace nimbe
