#include <algorithm>
#include <cstdint>
#include <string_view>
#include <vector>

#include "Check.h"
#include "PlatformLanguageModel/ServerSentEvents.h"

namespace {

using nimbe::ServerSentEvents;

struct Read {
    std::vector<ServerSentEvents::Event> events;
    bool isTaken = true;
};

/// In pieces of as many bytes as the steps say, one after the other.
Read read(std::string_view bytes, std::string_view steps) {
    ServerSentEvents parser(64);
    Read read;
    for (std::size_t step = 0; !bytes.empty() && read.isTaken; ++step) {
        const auto length = static_cast<unsigned char>(steps[step % steps.size()]) % 9U + 1;
        read.isTaken = parser.add(bytes.substr(0, length), read.events);
        bytes.remove_prefix(std::min<std::size_t>(length, bytes.size()));
    }
    parser.finish(read.events);
    return read;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    ServerSentEvents parser(64);
    Read whole;
    whole.isTaken = parser.add(bytes, whole.events);
    parser.finish(whole.events);
    for (const auto& event : whole.events) {
        check(event.data.size() <= 64, "an event is within the limit");
        check(event.data.find('\r') == event.data.npos, "a return ends a line");
    }
    if (bytes.empty()) return 0;
    for (const auto steps : {std::string_view("\0", 1), bytes}) {
        const auto cut = read(bytes, steps);
        check(cut.isTaken == whole.isTaken, "cuts do not matter to the limit");
        check(cut.events == whole.events, "nor to the events");
    }
    return 0;
}
