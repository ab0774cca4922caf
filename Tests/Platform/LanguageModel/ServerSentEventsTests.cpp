#include <gtest/gtest.h>

#include "PlatformLanguageModel/ServerSentEvents.h"

namespace nimbe {
namespace {

using Event = ServerSentEvents::Event;

std::vector<Event> eventsOf(std::string_view bytes, std::size_t piece) {
    ServerSentEvents parser;
    std::vector<Event> events;
    for (std::size_t at = 0; at < bytes.size(); at += piece)
        EXPECT_TRUE(parser.add(bytes.substr(at, piece), events));
    parser.finish(events);
    return events;
}

} // namespace

TEST(ServerSentEvents, areTheSameHoweverTheirBytesAreCut) {
    struct Case {
        const char* why;
        std::string bytes;
        std::vector<Event> expected;
    };
    const Case cases[] = {
        {"line feeds", "data: a\n\ndata: b\n\n", {{"", "a"}, {"", "b"}}},
        {"carriage returns", "data: a\r\rdata: b\r\r", {{"", "a"}, {"", "b"}}},
        {"both", "data: a\r\n\r\ndata: b\r\n\r\n", {{"", "a"}, {"", "b"}}},
        {"both, within an event", "data: a\r\ndata: b\r\n\r\n", {{"", "a\nb"}}},
        {"mixed", "data: a\r\n\ndata: b\n\r", {{"", "a"}, {"", "b"}}},
        {"without a blank", "data:a\n\n", {{"", "a"}}},
        {"one blank goes, not two", "data:  a\n\n", {{"", " a"}}},
        {"several lines", "data: a\ndata\ndata: b\n\n", {{"", "a\n\nb"}}},
        {"a name", "event: error\ndata: {}\n\ndata: b\n\n", {{"error", "{}"}, {"", "b"}}},
        {"a name alone is no event, nor of the next", "event: x\n\ndata: b\n\n", {{"", "b"}}},
        {"comments", ":\n\n: ping\n\ndata: a\n:\ndata: b\n\n", {{"", "a\nb"}}},
        {"unknown fields", "id: 1\nretry: 5\ndatax: no\ndata: a\n\n", {{"", "a"}}},
        {"a field of older servers", "error: {\"code\":500}\n\n", {{"error", "{\"code\":500}"}}},
        {"a mark in front, not later",
            "\xEF\xBB\xBF"
            "data: a\n\n\xEF\xBB\xBF"
            "data: b\n\n",
            {{"", "a"}}},
        {"no end of the last", "data: a\n\ndata: [DONE]", {{"", "a"}, {"", "[DONE]"}}},
        {"any bytes", "data: \xC3\xA4\xFF\n\n", {{"", "\xC3\xA4\xFF"}}},
        {"nothing", "\n\n\r\r\n", {}},
    };
    for (const auto& c : cases)
        for (std::size_t piece = 1; piece <= c.bytes.size(); ++piece)
            EXPECT_EQ(eventsOf(c.bytes, piece), c.expected) << c.why << ", cut at " << piece;
}

TEST(ServerSentEvents, endWhereAnEventIsTooLarge) {
    struct Case {
        const char* why;
        std::string bytes;
        bool isTaken;
    };
    const Case cases[] = {
        {"at the limit", "data:" + std::string(15, 'a') + "\n\n", true},
        {"over it", "data:" + std::string(16, 'a') + "\n\n", false},
        {"without any line's end", std::string(21, 'a'), false},
        {"in lines", "data:1234567\ndata:1234567\ndata:1\n\n", false},
        {"in lines, at the limit", "data:1234567\ndata:1234567\ndata:\n\n", true},
        {"one after the other", "data:1234567\n\ndata:1234567\n\ndata:1\n\n", true},
        {"a comment", ":" + std::string(20, 'a') + "\n", false},
    };
    for (const auto& c : cases) {
        for (const std::size_t piece : {std::size_t(1), c.bytes.size()}) {
            ServerSentEvents parser(20);
            std::vector<Event> events;
            bool isTaken = true;
            for (std::size_t at = 0; at < c.bytes.size(); at += piece)
                isTaken = parser.add(std::string_view(c.bytes).substr(at, piece), events);
            EXPECT_EQ(isTaken, c.isTaken) << c.why;
            const auto before = events;
            if (c.isTaken) continue;
            EXPECT_FALSE(parser.add("\n\ndata: x\n\n", events)) << c.why;
            parser.finish(events);
            EXPECT_EQ(events, before) << c.why;
        }
    }
}

} // namespace nimbe
