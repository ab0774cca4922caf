#include <gtest/gtest.h>

#include "NimbeEngine/Speech/UtteranceSegmenter.h"

namespace nimbe {
namespace {

constexpr std::size_t window = 512;
constexpr std::size_t padding = 3200;

/// So many windows of that probability.
struct Part {
    std::size_t windows;
    double probability = 0.1;
};
Part silence(std::size_t windows) {
    return {windows, 0.1};
}
Part speech(std::size_t windows) {
    return {windows, 0.9};
}

std::vector<SampleRange> utterances(const std::vector<Part>& parts) {
    UtteranceSegmenter segmenter;
    std::vector<SampleRange> found;
    std::size_t heard = 0;
    for (const auto& part : parts)
        for (std::size_t i = 0; i < part.windows; ++i) {
            heard += window;
            if (const auto range = segmenter.hear(part.probability)) found.push_back(*range);
        }
    if (const auto range = segmenter.finish(heard)) found.push_back(*range);
    return found;
}

/// Of speech from one window to before another.
SampleRange padded(std::size_t begin, std::size_t end) {
    return {begin * window - padding, end * window + padding};
}

} // namespace

TEST(UtteranceSegmenter, whatIsAnUtterance) {
    // A window is 32 ms.
    struct Case {
        const char* why;
        std::vector<Part> parts;
        std::vector<SampleRange> expected;
    };
    const Case cases[] = {
        {"nothing", {}, {}},
        {"a minute of silence", {silence(1875)}, {}},
        {"0.22 s of speech is none", {silence(20), speech(7), silence(60)}, {}},
        {"0.26 s is", {silence(20), speech(8), silence(60)}, {padded(20, 28)}},
        {"the same at the end of the sound", {silence(20), speech(7)}, {}},
        {"no more padding than there is sound", {speech(31), silence(2)}, {{0, 33 * window}}},
        {"a pause of 1.47 s", {silence(20), speech(31), silence(46), speech(31), silence(60)},
            {padded(20, 128)}},
        {"a pause of 1.50 s", {silence(20), speech(31), silence(47), speech(31), silence(60)},
            {padded(20, 51), padded(98, 129)}},
        {"after 10 s a pause of 0.8 s", {silence(20), speech(320), silence(25), speech(31)},
            {padded(20, 340), {365 * window - padding, 396 * window}}},
        {"after 15 s one of 0.42 s", {silence(20), speech(480), silence(13), speech(31)},
            {padded(20, 500), {513 * window - padding, 544 * window}}},
        {"a click opens nothing", {silence(20), speech(3), silence(20), speech(31), silence(60)},
            {padded(43, 74)}},
        {"a short word does", {silence(20), speech(4), silence(20), speech(31), silence(60)},
            {padded(20, 75)}},
        {"what goes on need not be as clear", {silence(20), speech(4), {40, 0.4}, silence(60)},
            {padded(20, 64)}},
        {"what begins must", {silence(20), {40, 0.4}, silence(60)}, {}},
    };
    for (const auto& c : cases) EXPECT_EQ(utterances(c.parts), c.expected) << c.why;
}

TEST(UtteranceSegmenter, paddingNeverOverlaps) {
    // After 20 s a pause of 0.22 s closes: less than the padding of both sides.
    const auto found = utterances({speech(640), silence(7), speech(31), silence(60)});
    ASSERT_EQ(found.size(), 2U);
    EXPECT_EQ(found[0].end, 640 * window + padding);
    EXPECT_EQ(found[1].begin, found[0].end);
}

TEST(UtteranceSegmenter, speechWithoutAPauseIsCutWhereItIsLeastLikely) {
    const auto found = utterances({speech(690), {1, 0.6}, speech(200), silence(60)});
    ASSERT_EQ(found.size(), 2U);
    EXPECT_EQ(found[0], (SampleRange{0, 691 * window}));
    EXPECT_EQ(found[1], (SampleRange{691 * window, 891 * window + padding}));
}

TEST(UtteranceSegmenter, theRestOfACutWordIsKept) {
    struct Case {
        std::size_t rest; // windows of speech after the dip, at 25 s
        std::size_t utterances;
    };
    for (const Case& c : {Case{1, 1}, {2, 1}, {3, 2}, {7, 2}}) {
        const auto found = utterances({speech(780), {1, 0.6}, speech(c.rest), silence(60)});
        ASSERT_EQ(found.size(), c.utterances) << c.rest;
        EXPECT_EQ(found[0].end, 781 * window);
    }
}

TEST(UtteranceSegmenter, tenMinutesWithoutAPauseAreAllThere) {
    const auto found = utterances({speech(18750)});
    ASSERT_FALSE(found.empty());
    std::size_t at = 0;
    for (const auto& range : found) {
        EXPECT_EQ(range.begin, at);
        EXPECT_LE(range.size(), 25U * 16000);
        at = range.end;
    }
    EXPECT_EQ(at, 18750 * window);
}

TEST(UtteranceSegmenter, theOpenUtteranceSettlesInAPause) {
    UtteranceSegmenter segmenter;
    for (int i = 0; i < 20; ++i) (void)segmenter.hear(0.9);
    EXPECT_FALSE(segmenter.open()->isSettled);
    for (int i = 0; i < 6; ++i) (void)segmenter.hear(0.1);
    EXPECT_FALSE(segmenter.open()->isSettled) << "0.19 s";
    (void)segmenter.hear(0.1);
    ASSERT_TRUE(segmenter.open()->isSettled) << "0.22 s";
    const auto settled = segmenter.open()->range;
    (void)segmenter.hear(0.1);
    EXPECT_EQ(segmenter.open()->range, settled);
    (void)segmenter.hear(0.9);
    EXPECT_FALSE(segmenter.open()->isSettled) << "it goes on";
}

} // namespace nimbe
