#include "PlatformAudio/PulseSource.h"

#include <array>
#include <pulse/pulseaudio.h>

#include "PlatformAudio/PulseConnection.h"

namespace nimbe {
namespace {

std::string text(const char* characters) {
    return characters ? characters : "";
}

void collect(pa_context* /*context*/, const pa_source_info* info, int /*end*/, void* sources) {
    if (!info) return;
    std::array<char, PA_CHANNEL_MAP_SNPRINT_MAX> map{};
    pa_channel_map_snprint(map.data(), map.size(), &info->channel_map);
    PulseSource source;
    source.name = text(info->name);
    source.description = info->description ? info->description : source.name;
    source.channelMap = map.data();
    source.sampleRate = info->sample_spec.rate;
    source.channels = info->sample_spec.channels;
    source.isMonitor = info->monitor_of_sink != PA_INVALID_INDEX;
    static_cast<PulseSource::Sources*>(sources)->push_back(std::move(source));
}

void keepDefault(pa_context* /*context*/, const pa_server_info* info, void* name) {
    if (info) *static_cast<std::string*>(name) = text(info->default_source_name);
}

} // namespace

Task<std::optional<PulseSource::Sources>> PulseSource::all(
    std::shared_ptr<PulseConnection> connection) {
    Sources found;
    const PulseConnection::Start start = [&found](pa_context* context) {
        return pa_context_get_source_info_list(context, &collect, &found);
    };
    auto asked = connection->ask(start);
    const bool isAnswered = co_await asked;
    if (!isAnswered) co_return std::nullopt;
    co_return found;
}

Task<std::optional<PulseSource>> PulseSource::named(
    std::shared_ptr<PulseConnection> connection, std::string name) {
    Sources found;
    const PulseConnection::Start start = [&found, &name](pa_context* context) {
        return pa_context_get_source_info_by_name(context, name.c_str(), &collect, &found);
    };
    auto asked = connection->ask(start);
    (void)co_await asked;
    // The server also takes numbers and "@DEFAULT_SOURCE@" for names.
    if (found.empty() || found.front().name != name) co_return std::nullopt;
    co_return std::move(found.front());
}

Task<std::optional<PulseSource>> PulseSource::standard(
    std::shared_ptr<PulseConnection> connection) {
    std::string name;
    const PulseConnection::Start start = [&name](pa_context* context) {
        return pa_context_get_server_info(context, &keepDefault, &name);
    };
    auto asked = connection->ask(start);
    (void)co_await asked;
    if (name.empty()) co_return std::nullopt;
    auto found = named(connection, name);
    auto source = co_await found;
    co_return source;
}

} // namespace nimbe
