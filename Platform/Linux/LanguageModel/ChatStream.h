#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Foundation/HttpClient.h"
#include "PlatformLanguageModel/ChatCompletion.h"
#include "PlatformLanguageModel/ServerSentEvents.h"

namespace nimbe {

/// Reads the answer to a streamed request from its bytes, cut anywhere. A server that does
/// not stream after all answers with one object, and a refusal is no stream either.
class ChatStream {
public:
    /// `largest`: bytes of an answer.
    explicit ChatStream(std::size_t largest) : largest(largest) {}

    /// Once, before the first bytes.
    void begin(const HttpResponse& head);
    /// False: that is enough, because it has ended, failed, or is too large.
    [[nodiscard]] bool add(std::string_view bytes);
    /// The connection has ended, in good order or not.
    void finish();

    [[nodiscard]] const ChatCompletion& completion() const { return read; }
    [[nodiscard]] bool isStream() const { return isOfEvents; }
    /// What the server says in place of an answer, or midway.
    [[nodiscard]] std::optional<ChatError> error() const;
    /// What came cannot be read.
    [[nodiscard]] const std::optional<LanguageModelError>& fault() const { return problem; }

private:
    std::size_t largest;
    int status = 0;
    bool isOfEvents = false;
    bool isDone = false;
    ServerSentEvents events;
    std::string body; // of what is no stream
    ChatCompletion read;
    std::optional<ChatError> refusal;
    std::optional<LanguageModelError> problem;

    void takeEvents(const std::vector<ServerSentEvents::Event>& taken);
    void takeEvent(const ServerSentEvents::Event& event);
    [[nodiscard]] bool giveUp(LanguageModelError::Kind kind, const char* detail);
};

} // namespace nimbe
