#include <gtest/gtest.h>

#include "NimbeSync/MergePolicy.h"
#include "NimbeSync/SyncSchema.h"

namespace nimbe {

TEST(MergePolicy, firstMatchingRuleWins) {
    using enum MergePolicy::Decision;
    using enum MergePolicy::Contents;
    using Changes = std::vector<std::uint64_t>;
    struct Case {
        const char* why;
        bool isDirty, isLocalDeleted, isCloudDeleted;
        Changes local, cloud;
        MergePolicy::Contents contents;
        MergePolicy::Decision expected;
        bool isTranscript = true;
    };
    const Case cases[] = {
        {"nothing was changed here", false, false, true, {1}, {1, 2}, different, takeCloud},
        {"nothing was changed here, whatever is newer", false, false, false, {1, 2}, {1}, different,
            takeCloud},
        {"the answer was lost, another edited on", true, false, false, {1, 2}, {1, 2, 3}, different,
            takeCloud},
        {"the answer was lost, another deleted it", true, false, true, {2}, {2, 3}, different,
            takeCloud},
        {"the cloud is behind", true, false, false, {1, 2}, {1}, different, keepLocal},
        {"a deletion on top of what the cloud has", true, true, false, {1, 2}, {1}, different,
            keepLocal},
        {"a deletion against an edit", true, true, false, {1, 2}, {1, 3}, different, takeCloud},
        {"an edit against a deletion", true, false, true, {1, 2}, {1, 3}, different, keepLocal},
        {"deleted on both sides", true, true, true, {1, 2}, {1, 3}, different, takeCloud},
        {"two edits", true, false, false, {1, 2}, {1, 3}, different, takeCloudAndCopy},
        {"two edits to the same", true, false, false, {1, 2}, {1, 3}, same, takeCloud},
        {"the same text, its original only here", true, false, false, {1}, {2}, localHasMore,
            keepLocal},
        {"two preferences", true, false, false, {1}, {2}, different, takeCloud, false},
        {"no changes are known", true, false, false, {}, {}, different, takeCloudAndCopy},
    };
    for (const auto& c : cases)
        EXPECT_EQ(MergePolicy::decide({c.isDirty, c.isTranscript, {c.isLocalDeleted, c.local},
                      {c.isCloudDeleted, c.cloud}, c.contents}),
            c.expected)
            << c.why;
}

TEST(MergePolicy, whatFollowsHasSeenBothSides) {
    EXPECT_EQ(MergePolicy::follow({1, 2, 3}, {2, 4}), (std::vector<std::uint64_t>{1, 3, 2, 4}));
    std::vector<std::uint64_t> many(40);
    for (std::size_t i = 0; i < many.size(); ++i) many[i] = i;
    const auto followed = MergePolicy::follow(many, {99});
    EXPECT_EQ(followed.size(), 32U);
    EXPECT_EQ(followed.back(), 99U);
    EXPECT_EQ(followed.front(), 9U) << "the oldest are forgotten";
}

} // namespace nimbe
