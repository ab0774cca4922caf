#include <gtest/gtest.h>

#include "Foundation/Json.h"
#include "NimbeKitCore/MCPClientConfig.h"

namespace nimbe {
namespace {

constexpr std::string_view command = "/opt/nimbe/bin/nimbe";

/// On one line, for tables; "error" when it is refused.
std::string merged(std::optional<std::string_view> existing, std::string_view path = command) {
    const auto config = MCPClientConfig::merge(existing, path);
    return config ? Json::parse(*config)->text() : "error";
}

std::string without(std::string_view existing) {
    const auto config = MCPClientConfig::remove(existing);
    if (!config) return "error";
    return *config ? Json::parse(**config)->text() : "unchanged";
}

} // namespace

TEST(MCPClientConfig, mergingKeepsWhatOthersHaveWritten) {
    const std::string entry =
        R"({"mcpServers":{"nimbe":{"args":["--mcp-stdio"],"command":"/opt/nimbe/bin/nimbe"}}})";
    struct Case {
        const char* why;
        std::optional<std::string_view> existing;
        std::string expected;
    };
    const Case cases[] = {
        {"no file", std::nullopt, entry},
        {"an empty file", "", entry},
        {"a byte order mark alone", "\xEF\xBB\xBF", entry},
        {"a byte order mark", "\xEF\xBB\xBF{}", entry},
        {"nothing in it", " {\n} ", entry},
        {"no servers yet", R"({"mcpServers":{}})", entry},
        {"an older entry goes entirely",
            R"({"mcpServers":{"nimbe":{"command":"/old","args":["x"],"env":{"A":"b"}}}})", entry},
        {"an entry that is none", R"({"mcpServers":{"nimbe":[1]}})", entry},
        {"the last one of two counts, in all places",
            R"({"mcpServers":1,"mcpServers":{"nimbe":1,"nimbe":2}})", entry},
        {"other servers, numbers of every form, other settings",
            R"({"z":[1e400,-0,1.0,12345678901234567890,0.10],)"
            R"("mcpServers":{"zed":{"command":"a\/b","args":[1],"x":null},"Über":{"😀":"\u00e9"}},)"
            R"("a":{"c":true,"b":"\u0000\u2028"}})",
            R"({"a":{"b":"\u0000)"
            "\xE2\x80\xA8"
            R"(","c":true},"mcpServers":{)"
            R"("nimbe":{"args":["--mcp-stdio"],"command":"/opt/nimbe/bin/nimbe"},)"
            R"("zed":{"args":[1],"command":"a/b","x":null},"Über":{"😀":"é"}},)"
            R"("z":[1e400,-0,1.0,12345678901234567890,0.10]})"},
        {"an array", "[]", "error"},
        {"a string", R"("{}")", "error"},
        {"null", "null", "error"},
        {"servers that are a list", R"({"mcpServers":[]})", "error"},
        {"servers that are text", R"({"mcpServers":"{}"})", "error"},
        {"servers that are null", R"({"mcpServers":null})", "error"},
        {"white space is no JSON", " \n", "error"},
        {"cut off", R"({"mcpServers":{)", "error"},
        {"a comment", "{} // mine", "error"},
        {"two byte order marks", "\xEF\xBB\xBF\xEF\xBB\xBF{}", "error"},
        {"UTF-16", std::string_view("{\0}\0", 4), "error"},
        {"not UTF-8", "{\"a\":\"\xFF\"}", "error"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(merged(c.existing), c.expected) << c.why;
        EXPECT_EQ(MCPClientConfig::isRegistered(c.existing, command), false) << c.why;
        if (c.expected == "error") continue;
        const auto once = MCPClientConfig::merge(c.existing, command).value();
        EXPECT_TRUE(MCPClientConfig::isRegistered(once, command)) << c.why;
        EXPECT_EQ(MCPClientConfig::merge(once, command).value(), once) << c.why;
    }
}

TEST(MCPClientConfig, isLaidOutForPeople) {
    EXPECT_EQ(MCPClientConfig::merge(R"({"a/b":{"y":1,"x":[]}})", "/a \"b\"/né\\").value(), R"({
  "a/b": {
    "x": [],
    "y": 1
  },
  "mcpServers": {
    "nimbe": {
      "args": [
        "--mcp-stdio"
      ],
      "command": "/a \"b\"/né\\"
    }
  }
})");
}

TEST(MCPClientConfig, isRegisteredWithThatCommandAndTheSwitchAlone) {
    struct Case {
        const char* why;
        std::string entry;
        bool expected;
    };
    const Case cases[] = {
        {"as written", R"({"command":"/n","args":["--mcp-stdio"]})", true},
        {"more beside it", R"({"args":["-v","--mcp-stdio"],"env":{},"command":"/n"})", true},
        {"the last command counts", R"({"command":"/x","command":"/n","args":["--mcp-stdio"]})",
            true},
        {"another path", R"({"command":"/n ","args":["--mcp-stdio"]})", false},
        {"a command that is a list", R"({"command":["/n"],"args":["--mcp-stdio"]})", false},
        {"no command", R"({"args":["--mcp-stdio"]})", false},
        {"no arguments", R"({"command":"/n"})", false},
        {"another switch", R"({"command":"/n","args":["--mcp-stdio=1"]})", false},
        {"a text that is no list", R"({"command":"/n","args":"--mcp-stdio"})", false},
        {"a list of not only text", R"({"command":"/n","args":["--mcp-stdio",1]})", false},
        {"no object", R"("/n --mcp-stdio")", false},
    };
    for (const auto& c : cases) {
        const auto config = R"({"mcpServers":{"nimbe":)" + c.entry + "}}";
        EXPECT_EQ(MCPClientConfig::isRegistered(config, "/n"), c.expected) << c.why;
        EXPECT_EQ(MCPClientConfig::isRegistered("\xEF\xBB\xBF" + config, "/n"), c.expected);
        EXPECT_FALSE(MCPClientConfig::isRegistered(config + "}", "/n")) << c.why;
        EXPECT_FALSE(MCPClientConfig::isRegistered("[" + config + "]", "/n")) << c.why;
    }
    EXPECT_FALSE(MCPClientConfig::isRegistered(std::nullopt, "/n"));
    EXPECT_FALSE(MCPClientConfig::isRegistered("", ""));
}

TEST(MCPClientConfig, theEntryIsTakenOutAndNothingElse) {
    struct Case {
        const char* existing;
        const char* expected;
    };
    const Case cases[] = {
        {R"({"mcpServers":{"nimbe":{"command":"/x"},"b":1e400},"a":1})",
            R"({"a":1,"mcpServers":{"b":1e400}})"},
        {R"({"mcpServers":{"nimbe":1,"nimbe":2}})", R"({"mcpServers":{}})"},
        {R"({"mcpServers":{"Nimbe":1}})", "unchanged"},
        {R"({"nimbe":1})", "unchanged"},
        {"", "unchanged"},
        {R"({"mcpServers":["nimbe"]})", "error"},
        {"nimbe", "error"},
    };
    for (const auto& c : cases) EXPECT_EQ(without(c.existing), c.expected) << c.existing;
}

TEST(MCPClientConfig, nestingOfAnyDepthIsKept) {
    constexpr std::size_t depth = 300'000;
    const std::string deep = R"({"a":)" + std::string(depth, '[') + std::string(depth, ']') + "}";
    const auto config = MCPClientConfig::merge(deep, command);
    ASSERT_TRUE(config);
    EXPECT_LT(config->size(), 4 * deep.size());
    auto json = *Json::parse(*config);
    json.remove("mcpServers");
    EXPECT_EQ(json.text(), deep);
}

TEST(MCPClientConfig, theCommandLineStandsWithoutQuotes) {
    EXPECT_EQ(MCPClientConfig::cliCommand("/opt/my nimbe"),
        "claude mcp add nimbe -- /opt/my nimbe --mcp-stdio");
}

} // namespace nimbe
