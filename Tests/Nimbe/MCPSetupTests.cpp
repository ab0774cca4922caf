#include <fstream>
#include <functional>
#include <unistd.h>

#include <gtest/gtest.h>

#include "Fakes/FakeLogSink.h"
#include "Fakes/FakePasteboard.h"
#include "Fakes/ManualMainActor.h"
#include "Foundation/Json.h"
#include "NimbeApp/MCPSetup.h"
#include "PlatformStorage/AtomicConfigFiles.h"
#include "Support/TemporaryFolder.h"

namespace nimbe {
namespace {

namespace fs = std::filesystem;

/// Each fault on command; the rest is the real thing.
class FailingConfigFiles final : public ConfigFiles {
public:
    bool failsReading = false;
    bool failsWriting = false;
    int writes = 0;
    std::function<void()> beforeWriting; // what the client does meanwhile

    Result<std::optional<std::string>, std::error_code> read(const fs::path& file) override {
        if (failsReading) return failure(std::make_error_code(std::errc::permission_denied));
        return files.read(file);
    }
    std::error_code replace(const fs::path& file, const std::optional<std::string>& before,
        std::string_view content) override {
        ++writes;
        if (failsWriting) return std::make_error_code(std::errc::no_space_on_device);
        if (const auto happening = beforeWriting) happening();
        return files.replace(file, before, content);
    }

private:
    AtomicConfigFiles files;
};

struct MCPSetupTest : testing::Test {
    TemporaryFolder folder;
    fs::path file = folder.path / "Claude" / "claude_desktop_config.json";
    FailingConfigFiles files;
    FakeLogSink log;
    ManualMainActor actor;
    FakePasteboard pasteboard;
    MCPRegistration registration = at("/opt/a b/nimb\xC3\xA9");
    std::shared_ptr<MCPSetup> setup = MCPSetup::create({actor, pasteboard, registration, log});

    const MCPSetup::Status unknown = MCPSetup::Unknown();
    const MCPSetup::Status configured = MCPSetup::Configured();
    const MCPSetup::Status failed = MCPSetup::Failed{
        "Could not update the Claude Desktop config. Check the file at " + file.string() + "."};

    [[nodiscard]] MCPRegistration at(const char* program) {
        return {files, MCPRegistration::Place::below(folder.path, program), log};
    }
    void put(std::string_view content) const {
        fs::create_directories(file.parent_path());
        std::ofstream(file, std::ios::binary) << content;
    }
    [[nodiscard]] std::string content() const {
        std::ifstream in(file, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }
};

} // namespace

TEST_F(MCPSetupTest, connectsAndTakesItselfOutAgain) {
    setup->refresh();
    EXPECT_EQ(setup->_status.get(), unknown);
    setup->remove();
    EXPECT_FALSE(fs::exists(file.parent_path())) << "made for nothing";

    setup->install();
    EXPECT_EQ(setup->_status.get(), configured);
    EXPECT_EQ(Json::parse(content())->text(),
        R"({"mcpServers":{"nimbe":{"args":["--mcp-stdio"],"command":"/opt/a b/nimbé"}}})");
    setup->install();
    EXPECT_EQ(files.writes, 1) << "written again without need";

    const auto other = at("/usr/bin/nimbe"); // an update has moved it
    EXPECT_EQ(other.state().value(), (MCPRegistration::State{"/opt/a b/nimb\xC3\xA9", false}));

    setup->remove();
    EXPECT_EQ(setup->_status.get(), unknown);
    EXPECT_EQ(Json::parse(content())->text(), R"({"mcpServers":{}})");
    setup->refresh();
    EXPECT_EQ(setup->_status.get(), unknown);
}

TEST_F(MCPSetupTest, whatIsNotUnderstoodIsLeftAsItIs) {
    for (const auto* text : {"[]", "{\"mcpServers\":[]}", "{", "// {}", "\xFF"}) {
        put(text);
        for (const auto change : {&MCPSetup::install, &MCPSetup::remove}) {
            setup->refresh();
            EXPECT_EQ(setup->_status.get(), unknown);
            (setup.get()->*change)();
            EXPECT_EQ(setup->_status.get(), failed) << text;
            EXPECT_EQ(content(), text);
        }
        EXPECT_EQ(registration.state().error().message,
            "Could not read the Claude Desktop config. Check the file at " + file.string() + ".");
    }
    EXPECT_EQ(files.writes, 0);
}

TEST_F(MCPSetupTest, eachFaultIsToldAndPasses) {
    put("{\"a\":1}");
    for (const auto fault :
        {&FailingConfigFiles::failsReading, &FailingConfigFiles::failsWriting}) {
        files.*fault = true;
        setup->install();
        EXPECT_EQ(setup->_status.get(), failed);
        EXPECT_EQ(content(), "{\"a\":1}");
        setup->refresh();
        EXPECT_EQ(setup->_status.get(), unknown);
        files.*fault = false;
    }
    setup->install();
    EXPECT_EQ(setup->_status.get(), configured);
    const auto before = content();
    files.failsWriting = true;
    setup->remove();
    EXPECT_EQ(setup->_status.get(), failed);
    EXPECT_EQ(content(), before);
    EXPECT_TRUE(log.has(LogLevel::error, "No space left"));
    EXPECT_EQ(log.all().find(folder.path), std::string::npos) << "no path in the log";

    auto nameless = at("/opt/\xFF/nimbe"); // JSON has no way to write it
    EXPECT_NE(nameless.install()->reason.find("not UTF-8"), std::string::npos);
    EXPECT_EQ(content(), before);
}

TEST_F(MCPSetupTest, whatTheClientWritesMeanwhileStays) {
    const std::string settled = R"({"a":2,"mcpServers":{"b":{}}})";
    for (const auto* before : {R"({"a":1})", "", "absent"}) {
        put(before);
        if (before == std::string_view("absent")) fs::remove(file);
        files.beforeWriting = [&] {
            put(settled);
            files.beforeWriting = [] {
            };
        };
        setup->install();
        EXPECT_EQ(setup->_status.get(), configured) << before;
        EXPECT_EQ(Json::parse(content())->text(),
            R"({"a":2,"mcpServers":{"b":{},"nimbe":{"args":["--mcp-stdio"],)"
            R"("command":"/opt/a b/nimbé"}}})")
            << before;
    }
    files.beforeWriting = [&] {
        put(R"({"c":1,"mcpServers":{"nimbe":{}}})");
        files.beforeWriting = [] {
        };
    };
    setup->remove();
    EXPECT_EQ(Json::parse(content())->text(), R"({"c":1,"mcpServers":{}})");

    int count = 0;
    files.beforeWriting = [&] {
        put("{\"count\":" + std::to_string(++count) + "}");
    };
    setup->install();
    EXPECT_EQ(setup->_status.get(), failed) << "it never stops";
    EXPECT_EQ(content(), "{\"count\":" + std::to_string(count) + "}");
}

TEST_F(MCPSetupTest, aFolderInTheWayIsToldOf) {
    fs::create_directories(file);
    setup->install();
    EXPECT_EQ(setup->_status.get(), failed);
    fs::remove_all(file.parent_path());
    std::ofstream(file.parent_path()) << "a file where the folder belongs";
    setup->install();
    EXPECT_EQ(setup->_status.get(), failed);
    EXPECT_TRUE(fs::is_regular_file(file.parent_path()));
}

TEST_F(MCPSetupTest, theCopiedCommandIsToldForASecondAndAHalf) {
    const auto isCopied = [&] {
        return setup->_isCommandCopied.get();
    };
    setup->copyCommand();
    actor.runPosted();
    EXPECT_TRUE(isCopied());
    EXPECT_EQ(pasteboard.paste(), "claude mcp add nimbe -- /opt/a b/nimb\xC3\xA9 --mcp-stdio");
    actor.advance(1.4);
    EXPECT_TRUE(isCopied());
    setup->copyCommand(); // begins anew
    actor.advance(1.4);
    EXPECT_TRUE(isCopied());
    actor.advance(0.11);
    EXPECT_FALSE(isCopied());

    pasteboard.failing = FakePasteboard::Step::write;
    setup->copyCommand();
    actor.runPosted();
    EXPECT_FALSE(isCopied());
    EXPECT_TRUE(log.has(LogLevel::warning, "clipboard"));

    pasteboard.failing.reset();
    setup->copyCommand();
    actor.runPosted();
    setup.reset(); // while it is told
    actor.advance(2);
    EXPECT_EQ(actor.pendingTimers(), 0U);
}

} // namespace nimbe
