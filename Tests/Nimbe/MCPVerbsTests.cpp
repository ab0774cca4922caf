#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

#include "Fakes/FakeLogSink.h"
#include "Fakes/NoShellServices.h"
#include "Foundation/Json.h"
#include "NimbeApp/MCPRegistration.h"
#include "PlatformStorage/AtomicConfigFiles.h"
#include "Support/Process.h"
#include "Support/TemporaryFolder.h"

namespace nimbe {
namespace {

namespace fs = std::filesystem;

struct OnlyMCP final : NoShellServices {
    explicit OnlyMCP(MCPServices services) : services(services) {}
    MCPServices services;
    const MCPServices* mcp(std::ostream& /*error*/) override { return &services; }
};

struct MCPVerbsTest : testing::Test {
    struct Run {
        int exitCode;
        std::string output;
        std::string error;
    };
    TemporaryFolder folder;
    fs::path file = folder.path / "Claude" / "claude_desktop_config.json";
    fs::path program = folder.path / "nimbe";
    AtomicConfigFiles files;
    FakeLogSink log;
    MCPRegistration registration{files, MCPRegistration::Place::below(folder.path, program), log};
    OnlyMCP services{{registration, false}};

    MCPVerbsTest() { std::ofstream(program) << "#!"; }

    Run run(std::vector<const char*> words) {
        words.insert(words.begin(), {"nimbe", "mcp"});
        std::istringstream input;
        std::ostringstream output;
        std::ostringstream error;
        const int code = runCommandLine(
            static_cast<int>(words.size()), words.data(), services, {input, output, error});
        return {code, output.str(), error.str()};
    }
    void put(std::string_view content) const {
        fs::create_directories(file.parent_path());
        std::ofstream(file, std::ios::binary) << content;
    }
    [[nodiscard]] std::string registeredAs(const std::string& command) const {
        return R"({"mcpServers":{"nimbe":{"args":["--mcp-stdio"],"command":)" +
               Json(command).text() + "}}}";
    }
};

} // namespace

TEST_F(MCPVerbsTest, theStatusIsLinesOrAnObject) {
    struct Case {
        const char* why;
        std::string config;
        std::string lines; // behind the file's name
        const char* json;  // from "registered" on, the program as P
    };
    const std::string own = program.string();
    const Case cases[] = {
        {"nothing", "{}", "Registered: no\n", R"(false,"command":null,"commandExists":null})"},
        {"this program", registeredAs(own), "Registered: yes\nCommand: " + own + "\n",
            R"(true,"command":"P","commandExists":true})"},
        {"one that has gone", registeredAs("/gone/nimbe"),
            "Registered: no, another program is\nCommand: /gone/nimbe (is not there)\n",
            R"(false,"command":"/gone/nimbe","commandExists":false})"},
        {"a folder is no program", registeredAs("/usr"),
            "Registered: no, another program is\nCommand: /usr (is not there)\n",
            R"(false,"command":"/usr","commandExists":false})"},
        {"one by its name, which would play with the terminal", registeredAs("nimbe\x1B[2J\n"),
            "Registered: no, another program is\nCommand: nimbe [2J\n",
            R"(false,"command":"nimbe\u001B[2J\n","commandExists":null})"},
    };
    for (const auto& c : cases) {
        put(c.config);
        const auto lines = run({"status"});
        EXPECT_EQ(lines.exitCode, 0) << c.why;
        EXPECT_EQ(lines.output, "Config file: " + file.string() + "\n" + c.lines) << c.why;
        const auto json = Json::parse(run({"status", "--json"}).output);
        ASSERT_TRUE(json) << c.why;
        auto text = json->text();
        if (const auto at = text.find('"' + own + '"'); at != text.npos)
            text.replace(at + 1, own.size(), "P");
        EXPECT_EQ(text, R"({"configFile":")" + file.string() + R"(","registered":)" + c.json)
            << c.why;
    }
}

TEST_F(MCPVerbsTest, installsSaysWhatIsNextAndRemoves) {
    const auto installed = run({"install"});
    EXPECT_EQ(installed.exitCode, 0);
    EXPECT_NE(installed.output.find("Restart Claude Desktop"), std::string::npos);
    EXPECT_EQ(installed.error, "");
    EXPECT_TRUE(registration.state()->isThisProgram);
    services.services.isPortable = true;
    EXPECT_NE(run({"install"}).error.find("NIMBE_HOME"), std::string::npos);
    const auto removed = Json::parse(run({"remove", "--json"}).output);
    ASSERT_TRUE(removed);
    EXPECT_EQ(removed->member("registered")->asBool(), false);
    EXPECT_EQ(run({"remove"}).exitCode, 0) << "once more";
}

TEST_F(MCPVerbsTest, whatIsWrongWithTheFileIsSaid) {
    put("{ // mine\n}");
    for (const auto* verb : {"install", "remove", "status"}) {
        const auto refused = run({verb, "--json"});
        EXPECT_EQ(refused.exitCode, 1) << verb;
        EXPECT_EQ(refused.output, "") << verb;
        EXPECT_NE(refused.error.find(file.string()), std::string::npos) << verb;
        EXPECT_NE(refused.error.find("not a JSON object"), std::string::npos) << verb;
    }
    EXPECT_EQ(run({"status", "now"}).exitCode, 2);
    EXPECT_EQ(run({}).exitCode, 2);
    EXPECT_EQ(run({"uninstall"}).exitCode, 2);
}

TEST_F(MCPVerbsTest, theCommandIsForTheShell) {
    EXPECT_EQ(
        run({"command"}).output, "claude mcp add nimbe -- " + program.string() + " --mcp-stdio\n");
    EXPECT_EQ(run({"command"}).error, "");
    MCPRegistration blank{files, MCPRegistration::Place::below(folder.path, "/a b/nimbe"), log};
    OnlyMCP other{{blank, false}};
    std::istringstream input;
    std::ostringstream output;
    std::ostringstream error;
    const char* words[] = {"nimbe", "mcp", "command", "--json"};
    EXPECT_EQ(runCommandLine(3, words, other, {input, output, error}), 0);
    EXPECT_EQ(output.str(), "claude mcp add nimbe -- /a b/nimbe --mcp-stdio\n");
    EXPECT_NE(error.str().find("quotes"), std::string::npos);
    output.str("");
    EXPECT_EQ(runCommandLine(4, words, other, {input, output, error}), 0);
    EXPECT_EQ(Json::parse(output.str())->text(),
        R"({"command":"claude mcp add nimbe -- /a b/nimbe --mcp-stdio"})");
}

TEST_F(MCPVerbsTest, theProgramRegistersItselfWhereClientsLook) {
    const auto shell = [&](const std::string& settings, const std::string& verb) {
        return Process::run(
            {"/usr/bin/env", "-u", "XDG_CONFIG_HOME", "HOME=" + folder.path.string(),
                "NIMBE_HOME=" + (folder.path / "portable").string(), settings, NIMBE_EXECUTABLE,
                "mcp", verb},
            "");
    };
    EXPECT_EQ(shell("XDG_CONFIG_HOME=" + (folder.path / "x").string(), "install").exitCode, 0);
    const auto at = folder.path / "x" / "Claude" / "claude_desktop_config.json";
    const auto config = files.read(at);
    ASSERT_TRUE(config && *config);
    EXPECT_EQ(Json::parse(**config)->text(), registeredAs(NIMBE_EXECUTABLE));

    EXPECT_EQ(shell("XDG_CONFIG_HOME=not/absolute", "install").exitCode, 0);
    EXPECT_TRUE(fs::exists(folder.path / ".config" / "Claude" / "claude_desktop_config.json"));
    EXPECT_FALSE(fs::exists(folder.path / "portable")) << "the dictations are not touched";
    EXPECT_NE(shell("HOME=", "status").error.find("HOME"), std::string::npos);
}

} // namespace nimbe
