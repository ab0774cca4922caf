#include <gtest/gtest.h>

#include "Fakes/FakeMemoryRecordSource.h"
#include "NimbeMCP/HistoryTools.h"
#include "NimbeMCP/LocalHistoryBackend.h"
#include "NimbeMCP/MCPServer.h"
#include "NimbeMCP/MCPTools.h"

namespace nimbe {
namespace {

const std::string nothing = "nothing";
const std::string parseError =
    R"({"jsonrpc":"2.0","id":null,"error":{"code":-32700,"message":"Parse error"}})";

struct MCPServerTest : testing::Test {
    FakeMemoryRecordSource source{{{"A", "text", Date{1}, "notes"}}};
    LocalHistoryBackend backend{source};
    HistoryTools tools{backend};
    MCPServer server{tools, "1.2.3"};

    std::string handle(std::string_view line) { return server.handle(line).value_or(nothing); }
};

std::string pong(std::string_view id) {
    return R"({"jsonrpc":"2.0","id":)" + std::string(id) + R"(,"result":{}})";
}

} // namespace

TEST_F(MCPServerTest, anIdComesBackAsItWas) {
    const std::string_view ids[] = {"0", "7", "-1", "1.0", "1.50", "1e3", "1E400",
        "9007199254740993", "123456789012345678901234567890", R"("")", R"("7")", R"("é😀\n")",
        "null", "true", "[]", "[1,[2.0]]", R"({"b":1,"a":{"b":null}})"};
    for (const auto id : ids)
        EXPECT_EQ(handle(R"({"id":)" + std::string(id) + R"(,"method":"ping"})"), pong(id));
    EXPECT_EQ(handle(R"({"id":1,"method":"ping","id":2})"), pong("2"));
    EXPECT_EQ(handle(R"({"id" : { "a" : 1 } , "method":"ping"})"), pong(R"({"a":1})"));
}

TEST_F(MCPServerTest, whatIsNoRequestIsPassedOver) {
    struct Case {
        const char* why;
        std::string line;
        std::string answer;
    };
    const Case cases[] = {
        {"no bytes", "", nothing},
        {"an object without members", "{}", nothing},
        {"an array, of requests too", R"([{"id":1,"method":"ping"}])", nothing},
        {"a number", "7", nothing},
        {"a string", R"("ping")", nothing},
        {"null", "null", nothing},
        {"no method", R"({"jsonrpc":"2.0","id":1})", nothing},
        {"a method that is no string", R"({"id":1,"method":7})", nothing},
        {"an answer", R"({"jsonrpc":"2.0","id":1,"result":{}})", nothing},
        {"a notification", R"({"method":"notifications/initialized"})", nothing},
        {"an unknown one", R"({"method":"no/such"})", nothing},
        {"text", "hello", parseError},
        {"blanks", "  ", parseError},
        {"half an object", R"({"id":1,"method":"pi)", parseError},
        {"more behind it", R"({"id":1,"method":"ping"} x)", parseError},
        {"a NUL byte behind it", std::string("{}\0", 3), parseError},
        {"a NUL byte in a string", std::string("{\"method\":\"\0\"}", 14), parseError},
        {"not UTF-8", "{\"id\":1,\"method\":\"ping\",\"x\":\"\xFF\"}", parseError},
        {"half a character", "{\"x\":\"\xC3", parseError},
        {"a byte order mark", "\xEF\xBB\xBF{}", parseError},
        {"a carriage return behind it", "{\"id\":1,\"method\":\"ping\"}\r", pong("1")},
        {"another protocol", R"({"jsonrpc":"1.0","id":1,"method":"ping"})", pong("1")},
        {"no protocol", R"({"id":1,"method":"ping"})", pong("1")},
        {"no id", R"({"method":"ping"})", pong("null")},
        {"params of another type", R"({"id":1,"method":"ping","params":[1]})", pong("1")},
    };
    for (const auto& c : cases) EXPECT_EQ(handle(c.line), c.answer) << c.why;
    EXPECT_EQ(handle(R"({"id":"x","method":"no/\"such\""})"),
        R"({"jsonrpc":"2.0","id":"x","error":{"code":-32601,)"
        R"("message":"Method not found: no/\"such\""}})");
    EXPECT_NE(handle(R"({"id":null,"method":"Ping"})").find("-32601"), std::string::npos);
}

TEST_F(MCPServerTest, anyVersionOfTheProtocolIsTaken) {
    const auto initialized = [](std::string_view id, std::string_view version) {
        return R"({"jsonrpc":"2.0","id":)" + std::string(id) + R"(,"result":{"protocolVersion":)" +
               std::string(version) +
               R"(,"capabilities":{"tools":{}},"serverInfo":{"name":"nimbe","version":"1.2.3"}}})";
    };
    const auto ask = [&](std::string_view params) {
        return handle(R"({"id":1,"method":"initialize","params":)" + std::string(params) + "}");
    };
    EXPECT_EQ(ask(R"({"protocolVersion":"2024-11-05"})"), initialized("1", R"("2024-11-05")"));
    EXPECT_EQ(ask(R"({"protocolVersion":"\u0022é"})"), initialized("1", R"("\"é")"));
    for (const auto* params : {"{}", "[]", "null", R"({"protocolVersion":7})"})
        EXPECT_EQ(ask(params), initialized("1", R"("2025-06-18")")) << params;
    EXPECT_EQ(handle(R"({"method":"initialize"})"), initialized("null", R"("2025-06-18")"));
}

TEST_F(MCPServerTest, toolsAreListedAndCalled) {
    EXPECT_EQ(handle(R"({"id":1,"method":"tools/list"})"),
        R"({"jsonrpc":"2.0","id":1,"result":{"tools":)" + std::string(MCPTools::descriptors()) +
            "}}");
    const auto call = [&](std::string_view params) {
        return handle(R"({"id":1,"method":"tools/call","params":)" + std::string(params) + "}");
    };
    EXPECT_EQ(call(R"({"name":"get_dictation","arguments":{"id":"A"}})"),
        R"({"jsonrpc":"2.0","id":1,"result":{"content":[{"type":"text","text":)"
        R"("{\"id\":\"A\",\"text\":\"text\",\"createdAt\":\"2001-01-01T00:00:01Z\",)"
        R"(\"mode\":\"notes\"}"}],"isError":false}})");
    struct Case {
        std::string_view params;
        std::string_view message;
    };
    const Case cases[] = {
        {R"({"name":"get_dictation"})", "Missing 'id'"},
        {R"({"name":"get_dictation","arguments":["id","A"]})", "Missing 'id'"},
        {R"({"name":"get_dictation","arguments":"A"})", "Missing 'id'"},
        {R"({"arguments":{"id":"A"}})", "Unknown tool: "},
        {R"({"name":7})", "Unknown tool: "},
        {"[]", "Unknown tool: "},
    };
    for (const auto& c : cases)
        EXPECT_EQ(call(c.params),
            R"({"jsonrpc":"2.0","id":1,"result":{"content":[{"type":"text","text":")" +
                std::string(c.message) + R"("}],"isError":true}})");
}

TEST_F(MCPServerTest, hostileSizesAreServed) {
    constexpr std::size_t deep = 1'000'000;
    const auto nested = std::string(deep, '[') + std::string(deep, ']');
    EXPECT_EQ(handle(R"({"method":"ping","id":)" + nested + "}"), pong(nested));
    EXPECT_EQ(handle(R"({"id":1,"method":"ping","params":{"x":)" + nested + "}}"), pong("1"));
    EXPECT_EQ(handle(nested), nothing);
    EXPECT_EQ(handle(std::string(deep, '[')), parseError);
    EXPECT_EQ(handle(std::string(deep, '{')), parseError);
    std::string objects;
    for (std::size_t i = 0; i < deep; ++i) objects += R"({"a":)";
    EXPECT_EQ(handle(objects), parseError);

    const std::string large(std::size_t{8} << 20U, 'x');
    EXPECT_EQ(handle(R"({"method":"ping","id":")" + large + "\"}"), pong('"' + large + '"'));
    const auto found =
        handle(R"({"id":1,"method":"tools/call","params":{"name":"search_dictations","arguments":)"
               R"({"query":")" +
               large + "\"}}}");
    EXPECT_NE(found.find(R"({\"results\":[]})"), found.npos);
    const auto number = std::string(1'000'000, '9');
    EXPECT_EQ(handle(R"({"method":"ping","id":)" + number + "}"), pong(number));
}

} // namespace nimbe
