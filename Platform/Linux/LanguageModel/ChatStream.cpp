#include "PlatformLanguageModel/ChatStream.h"

#include "Foundation/Text.h"

namespace nimbe {
namespace {

using Kind = LanguageModelError::Kind;

bool isGood(int status) {
    return status >= 200 && status < 300;
}

bool isWhole(const ServerSentEvents::Event& event) {
    return event.name == "error" || text::trimmed(event.data) == "[DONE]" ||
           Json::parse(event.data);
}

} // namespace

void ChatStream::begin(const HttpResponse& head) {
    status = head.status;
    isOfEvents =
        isGood(status) && head.header("content-type").value_or("").starts_with("text/event-stream");
}

bool ChatStream::add(std::string_view bytes) {
    if (isDone || problem) return false;
    if (!isOfEvents) {
        if (bytes.size() > largest - body.size()) return giveUp(Kind::tooLarge, "a whole answer");
        body += bytes;
        return true;
    }
    std::vector<ServerSentEvents::Event> taken;
    const bool isGoing = events.add(bytes, taken);
    takeEvents(taken);
    if (!isGoing && !isDone) return giveUp(Kind::tooLarge, "an event");
    if (read.bytes() > largest) return giveUp(Kind::tooLarge, "a streamed answer");
    return !isDone && !problem;
}

void ChatStream::finish() {
    if (isDone || problem) return;
    if (isOfEvents) {
        std::vector<ServerSentEvents::Event> taken;
        events.finish(taken);
        // Without its blank line it may have been cut off: it counts where it is whole.
        std::erase_if(taken, [](const auto& last) { return !isWhole(last); });
        takeEvents(taken);
    } else if (!isGood(status)) {
        refusal = ChatError::ofBody(status, body);
    } else if (const auto json = Json::parse(body); json && json->asObject()) {
        read.take(*json);
    } else {
        problem = LanguageModelError{Kind::malformed, "an answer that is no JSON"};
    }
    isDone = true;
}

std::optional<ChatError> ChatStream::error() const {
    return refusal ? refusal : read.error();
}

void ChatStream::takeEvents(const std::vector<ServerSentEvents::Event>& taken) {
    for (const auto& event : taken)
        if (!isDone && !problem) takeEvent(event);
}

void ChatStream::takeEvent(const ServerSentEvents::Event& event) {
    if (text::trimmed(event.data) == "[DONE]") {
        read.end();
        isDone = true;
        return;
    }
    const auto json = Json::parse(event.data);
    if (event.name == "error") {
        // Either {"error": …} as elsewhere, or what would stand in it.
        auto told = json ? ChatError::in(*json, status) : std::nullopt;
        Json wrapped;
        wrapped.set("error", json ? *json : Json(text::mended(event.data)));
        refusal = told ? told : ChatError::in(wrapped, status);
        isDone = true;
    } else if (json && json->asObject()) {
        read.take(*json);
        isDone = read.error().has_value();
    } else {
        problem = LanguageModelError{Kind::malformed, "an event that is no JSON"};
    }
}

bool ChatStream::giveUp(Kind kind, const char* detail) {
    problem = LanguageModelError{kind, detail};
    return false;
}

} // namespace nimbe
