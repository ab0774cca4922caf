#include "NimbeApp/LaunchSentinel.h"

#include <fstream>
#include <system_error>

#include "Foundation/Json.h"

namespace nimbe {
namespace {

constexpr Seconds year10000 = 253402300800; // since 1970

} // namespace

LaunchSentinel LaunchSentinel::decode(std::string_view json) {
    LaunchSentinel sentinel;
    const auto object = Json::parse(json);
    if (!object) return sentinel;
    if (const auto* member = object->member("consecutive"))
        if (const auto count = member->asInteger(); count && *count >= 0)
            if (*count <= mostConsecutive) sentinel.consecutive = *count;
    if (const auto* member = object->member("launchedAt"))
        if (const auto seconds = member->asDouble(); seconds && *seconds >= 0)
            if (*seconds < year10000) sentinel.launchedAt = Date::fromUnix(*seconds);
    return sentinel;
}

std::string LaunchSentinel::encode() const {
    Json::Object object;
    if (launchedAt) object.push_back({"launchedAt", Json::number(launchedAt->unixSeconds())});
    object.push_back({"consecutive", Json::integer(consecutive)});
    return Json(std::move(object)).text();
}

std::optional<LaunchSentinel> LaunchSentinel::read(const std::filesystem::path& file) {
    // Before it is opened: opening a pipe waits for somebody to write into it.
    std::error_code error;
    if (!std::filesystem::is_regular_file(file, error)) return std::nullopt;
    std::ifstream input(file, std::ios::binary);
    std::string content(largest + 1, '\0');
    input.read(content.data(), static_cast<std::streamsize>(content.size()));
    content.resize(static_cast<std::size_t>(input.gcount()));
    return content.size() > largest ? LaunchSentinel() : decode(content);
}

} // namespace nimbe
