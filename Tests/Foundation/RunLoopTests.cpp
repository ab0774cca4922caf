#include <string>

#include <gtest/gtest.h>

#include "Foundation/RunLoop.h"
#include "Support/MainActorContract.h"

namespace nimbe {
namespace {

class PlainLoop {
public:
    [[nodiscard]] MainActor& actor() { return loop; }
    void run() { loop.run(); }
    void stop() { loop.stop(); }

private:
    RunLoop loop;
};

} // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(RunLoop, MainActorContract, PlainLoop);

TEST(RunLoop, stopBeforeRunEndsThatRunOnly) {
    RunLoop loop;
    bool ran = false;
    loop.post([&] { ran = true; });
    loop.stop();
    loop.run();
    EXPECT_FALSE(ran);
    loop.post([&] { loop.stop(); });
    loop.run();
    EXPECT_TRUE(ran);
}

TEST(RunLoop, runUntilDoneEndsWithTheTask) {
    RunLoop loop;
    std::string order;
    loop.runUntilDone(contract::nap(loop, 0.001, order, 'x'));
    EXPECT_EQ(order, "x");
}

} // namespace nimbe
