#include "PlatformLanguageModel/ServerSentEvents.h"

#include <utility>

namespace nimbe {

bool ServerSentEvents::add(std::string_view bytes, std::vector<Event>& events) {
    while (!bytes.empty() && !isTooLarge) {
        if (std::exchange(isAfterReturn, false) && bytes.front() == '\n') {
            bytes.remove_prefix(1);
            continue;
        }
        const auto end = bytes.find_first_of("\r\n");
        line += bytes.substr(0, end);
        isTooLarge = line.size() + event.data.size() > limit;
        if (end == bytes.npos || isTooLarge) break;
        isAfterReturn = bytes[end] == '\r';
        bytes.remove_prefix(end + 1);
        endLine(events);
    }
    return !isTooLarge;
}

void ServerSentEvents::finish(std::vector<Event>& events) {
    if (isTooLarge) return;
    if (!line.empty()) endLine(events);
    dispatch(events);
}

void ServerSentEvents::endLine(std::vector<Event>& events) {
    std::string_view text = line;
    if (std::exchange(isFirstLine, false) && text.starts_with("\xEF\xBB\xBF"))
        text.remove_prefix(3);
    if (text.empty()) {
        dispatch(events);
    } else if (text.front() != ':') { // that is a comment
        const auto colon = text.find(':');
        auto value = colon == text.npos ? std::string_view() : text.substr(colon + 1);
        if (value.starts_with(' ')) value.remove_prefix(1);
        takeField(text.substr(0, colon), value);
    }
    line.clear();
}

void ServerSentEvents::takeField(std::string_view name, std::string_view value) {
    const bool isError = name == "error";
    if (name == "event") event.name = value;
    if (isError) event.name = "error";
    if (name != "data" && !isError) return;
    if (std::exchange(hasData, true)) event.data += '\n';
    event.data += value;
}

void ServerSentEvents::dispatch(std::vector<Event>& events) {
    Event whole = std::exchange(event, {});
    if (std::exchange(hasData, false)) events.push_back(std::move(whole));
}

} // namespace nimbe
