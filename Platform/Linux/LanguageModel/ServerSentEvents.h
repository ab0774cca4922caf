#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace nimbe {

/// The events of a stream, as its bytes come, cut anywhere: the text/event-stream of the
/// HTML standard (html.spec.whatwg.org, "Server-sent events"). Time is linear in the bytes.
/// Two liberties: a field "error" is an event of that name, as older servers write one, and
/// what is there at the end of the stream counts without the blank line. The bytes of an
/// event are passed on as they are, UTF-8 or not.
class ServerSentEvents {
public:
    struct Event {
        std::string name; // empty: none was given
        std::string data; // lines joined by line feeds

        friend bool operator==(const Event&, const Event&) = default;
    };
    /// Bytes, of one event. The largest that servers send is a whole answer in one.
    static constexpr std::size_t largestEvent = 1 << 20;

    explicit ServerSentEvents(std::size_t limit = largestEvent) : limit(limit) {}

    /// Appends the events that are whole by now. False, from then on: one is too large.
    [[nodiscard]] bool add(std::string_view bytes, std::vector<Event>& events);
    /// The stream has ended.
    void finish(std::vector<Event>& events);

private:
    std::size_t limit;
    std::string line; // as far as it has come
    Event event;
    bool hasData = false;
    bool isFirstLine = true;
    bool isAfterReturn = false; // a line feed now belongs to it
    bool isTooLarge = false;

    void endLine(std::vector<Event>& events);
    void takeField(std::string_view name, std::string_view value);
    void dispatch(std::vector<Event>& events);
};

} // namespace nimbe
