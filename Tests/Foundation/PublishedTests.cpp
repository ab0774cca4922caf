#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Foundation/Published.h"

namespace nimbe {

TEST(Published, tellsOfChangesUntilTheTokenIsDropped) {
    Published<int> value(1);
    std::vector<int> seen;
    auto token = value.observe([&](int now) { seen.push_back(now); });
    value.set(1);
    value.set(2);
    value.set(2);
    value.set(3);
    token.reset();
    value.set(4);
    EXPECT_EQ(seen, (std::vector{2, 3}));
    EXPECT_EQ(value.get(), 4);
}

TEST(Published, observersMayComeGoAndSetDuringAChange) {
    Published<int> value(0);
    std::string told;
    Token second;
    Token late;
    const auto first = value.observe([&](int now) {
        told += "a" + std::to_string(now);
        if (now == 1) {
            second.reset(); // gone before its turn
            late = value.observe([&](int later) { told += "c" + std::to_string(later); });
            value.set(2);
        }
    });
    second = value.observe([&](int now) { told += "b" + std::to_string(now); });
    const auto third = value.observe([&](int now) { told += "d" + std::to_string(now); });
    value.set(1);
    // The inner change is told first; what remains of the outer one is not stale.
    EXPECT_EQ(told, "a1a2d2c2d2");
}

TEST(Published, anObserverMayDestroyTheOwner) {
    auto value = std::make_optional<Published<std::string>>("a");
    int calls = 0;
    const auto first = value->observe([&](const std::string&) {
        ++calls;
        value.reset();
    });
    const auto second = value->observe([&](const std::string& now) {
        ++calls;
        EXPECT_EQ(now, "b");
    });
    value->set("b");
    EXPECT_EQ(calls, 2);
}

} // namespace nimbe
