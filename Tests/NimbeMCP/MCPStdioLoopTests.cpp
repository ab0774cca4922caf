#include <deque>

#include <gtest/gtest.h>

#include "Fakes/FakeMemoryRecordSource.h"
#include "NimbeMCP/HistoryTools.h"
#include "NimbeMCP/LocalHistoryBackend.h"
#include "NimbeMCP/MCPStdioLoop.h"

namespace nimbe {
namespace {

/// Gives the input in the pieces that the test made of it.
class FakeByteChannel final : public ByteChannel {
public:
    std::deque<std::string> input;
    std::string output;
    std::size_t writes = 0;
    std::size_t writesBeforeGone = SIZE_MAX;
    int timesFreed = 0;

    std::size_t read(std::span<char> into) override {
        if (input.empty()) return 0;
        auto& next = input.front();
        const auto count = std::min(into.size(), next.size());
        std::copy_n(next.begin(), count, into.begin());
        next.erase(0, count);
        if (next.empty()) input.pop_front();
        return count;
    }
    bool write(std::string_view bytes) override {
        if (writes == writesBeforeGone) return false;
        ++writes;
        output += bytes;
        return true;
    }
    void memoryBecameFree() override { ++timesFreed; }
};

struct MCPStdioLoopTest : testing::Test {
    FakeMemoryRecordSource source;
    LocalHistoryBackend backend{source};
    HistoryTools tools{backend};
    MCPServer server{tools, "1"};
    FakeByteChannel channel;

    std::string run(std::deque<std::string> pieces) {
        channel.input = std::move(pieces);
        channel.output.clear();
        MCPStdioLoop(server, channel).run();
        return channel.output;
    }
};

std::string ping(std::string_view id) {
    return R"({"method":"ping","id":)" + std::string(id) + "}";
}
std::string pong(std::string_view id) {
    return R"({"jsonrpc":"2.0","id":)" + std::string(id) + ",\"result\":{}}\n";
}

} // namespace

TEST_F(MCPStdioLoopTest, linesAreAnsweredInTheirOrderHoweverTheyCome) {
    const auto all = ping("1") + "\n\n" + ping("2") + "\n{}\n" + ping("3") + "\n";
    const auto answers = pong("1") + pong("2") + pong("3");
    EXPECT_EQ(run({all}), answers);
    EXPECT_EQ(channel.writes, 1U) << "what came together is answered together";
    for (std::size_t cut = 1; cut < all.size(); ++cut)
        EXPECT_EQ(run({all.substr(0, cut), all.substr(cut)}), answers) << cut;
    std::deque<std::string> bytes;
    for (const char c : all) bytes.emplace_back(1, c);
    EXPECT_EQ(run(bytes), answers);
    EXPECT_EQ(run({ping("1") + "\n" + ping("2")}), pong("1") + pong("2")) << "no last line break";
    EXPECT_EQ(run({"\n\n"}), "");
    EXPECT_EQ(run({ping("1") + "\r\n\r", "\n\r\n" + ping("2") + "\r\n\r"}), pong("1") + pong("2"));
    EXPECT_EQ(run({}), "");
}

TEST_F(MCPStdioLoopTest, longLinesAreTakenAndTheirMemoryGivenBack) {
    const auto id = '"' + std::string(std::size_t{8} << 20U, 'x') + '"';
    EXPECT_EQ(run({ping("1") + "\n" + ping(id) + "\n" + ping("2") + "\n"}),
        pong("1") + pong(id) + pong("2"));
    EXPECT_GT(channel.timesFreed, 0);
    channel.timesFreed = 0;
    EXPECT_EQ(run({ping("1") + "\n"}), pong("1"));
    EXPECT_EQ(channel.timesFreed, 0);
}

TEST_F(MCPStdioLoopTest, answersToManyLinesAreNotPiledUp) {
    std::string lines;
    for (int i = 0; i < 40; ++i) lines += "{\"method\":\"tools/list\",\"id\":1}\n";
    EXPECT_GT(run({lines}).size(), 65'536U);
    EXPECT_GT(channel.writes, 1U);
}

TEST_F(MCPStdioLoopTest, itEndsWithTheClient) {
    channel.writesBeforeGone = 1;
    EXPECT_EQ(run({ping("1") + "\n", ping("2") + "\n", ping("3") + "\n"}), pong("1"));
    EXPECT_EQ(channel.input.size(), 1U) << "the third is not read any more";
}

} // namespace nimbe
