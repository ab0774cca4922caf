#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <memory>
#include <numbers>
#include <string>

#include <gtest/gtest.h>

#include "PlatformAudio/SampleRateConverters.h"
#include "Support/AllocationCount.h"

namespace nimbe {
namespace {

using Samples = std::vector<float>;

Samples sine(double hertz, double rate, std::size_t frames, unsigned channels = 1) {
    Samples samples;
    for (std::size_t frame = 0; frame < frames; ++frame) {
        const double phase = 2 * std::numbers::pi * hertz * static_cast<double>(frame) / rate;
        samples.insert(samples.end(), channels, static_cast<float>(0.5 * std::sin(phase)));
    }
    return samples;
}

/// The amplitude of one frequency, without the ends, where the filter fades in.
double amplitude(const Samples& samples, double hertz, double rate) {
    const std::size_t edge = samples.size() / 8;
    double real = 0;
    double imaginary = 0;
    for (std::size_t i = edge; i < samples.size() - edge; ++i) {
        const double phase = 2 * std::numbers::pi * hertz * static_cast<double>(i) / rate;
        // Hann's window: what is not a whole number of periods does not leak.
        const double part =
            static_cast<double>(i - edge) / static_cast<double>(samples.size() - 2 * edge);
        const double weight = 1 - std::cos(2 * std::numbers::pi * part);
        real += samples[i] * weight * std::cos(phase);
        imaginary += samples[i] * weight * std::sin(phase);
    }
    return 2 * std::hypot(real, imaginary) / static_cast<double>(samples.size() - 2 * edge);
}

/// All of it, in calls of at most `piece` frames; empty when one fails.
Samples converted(AudioFormat from, AudioFormat to, const Samples& input, std::size_t piece) {
    SampleRateConverters converters;
    const auto converter = converters.make(from, to);
    if (!converter) return {};
    PCMBuffer output(to, input.size() / from.channels * 8 + 4096);
    Samples all;
    const auto take = [&](bool isOk) {
        EXPECT_TRUE(isOk) << converter->error();
        const auto end = output.samples.begin() + static_cast<std::ptrdiff_t>(output.frameLength);
        all.insert(all.end(), output.samples.begin(), end);
    };
    for (std::size_t at = 0; at < input.size(); at += piece * from.channels) {
        const auto rest = std::span(input).subspan(at);
        take(converter->convert(rest.first(std::min(rest.size(), piece * from.channels)), output));
    }
    take(converter->drain(output));
    return all;
}

} // namespace

TEST(SampleRateConverter, aToneKeepsItsPitchLevelAndLength) {
    struct Case {
        double from;
        unsigned channels;
        double to;
    };
    const Case cases[] = {
        {8000, 1, 16000},
        {11025, 2, 16000},
        {16000, 1, 16000},
        {16000, 6, 16000},
        {22050, 1, 16000},
        {44100, 1, 16000},
        {44100, 2, 16000},
        {48000, 1, 16000},
        {48000, 2, 16000},
        {48000, 6, 16000},
        {48000, 64, 16000},
        {96000, 2, 16000},
        {192000, 1, 16000},
        {16000, 1, 48000},
        {8000, 2, 44100},
        {768000, 1, 16000},
    };
    for (const auto& c : cases) {
        const auto name = std::to_string(c.from) + " x " + std::to_string(c.channels);
        const auto frames = static_cast<std::size_t>(c.from / 2);
        const Samples input = sine(1000, c.from, frames, c.channels);
        const Samples output = converted({c.from, c.channels}, {c.to, 1}, input, 4096);
        EXPECT_NEAR(static_cast<double>(output.size()), c.to / 2, 2) << name;
        EXPECT_NEAR(amplitude(output, 1000, c.to), 0.5, 0.5 * 0.005) << name; // 0.05 dB
        EXPECT_LT(amplitude(output, 1020, c.to), 0.001) << name << ": the pitch";
        EXPECT_LT(amplitude(output, 3000, c.to), 0.0005) << name << ": distortion";
    }
    // What the new rate cannot hold is gone and does not come back as another tone.
    const Samples alias = converted({48000, 1}, {16000, 1}, sine(10000, 48000, 24000), 4096);
    EXPECT_LT(amplitude(alias, 6000, 16000), 0.00005) << "80 dB down";
    const Samples hiss = converted({48000, 1}, {16000, 1}, sine(7000, 48000, 24000), 4096);
    EXPECT_GT(amplitude(hiss, 7000, 16000), 0.45) << "and what it can hold is kept";
}

TEST(SampleRateConverter, theSizeOfTheChunksDoesNotMatter) {
    std::srand(1);
    const AudioFormat formats[] = {{48000, 1}, {44100, 2}, {8000, 3}, {16000, 2}};
    for (const auto& from : formats) {
        Samples input(20'001 * from.channels);
        for (auto& sample : input)
            sample = static_cast<float>(std::rand()) / static_cast<float>(RAND_MAX) - 0.5F;
        const Samples whole = converted(from, {16000, 1}, input, 20'001);
        ASSERT_GT(whole.size(), 6000U);
        for (const std::size_t piece : {1U, 7U, 312U, 4095U, 4096U, 4097U, 10'000U})
            EXPECT_EQ(converted(from, {16000, 1}, input, piece), whole)
                << from.sampleRate << " in " << piece;
    }
}

TEST(SampleRateConverter, channelsAreMixedToTheirMean) {
    // Silence on every other channel: half the level; opposite phases: nothing.
    const Samples output = converted({16000, 4}, {16000, 1},
        {0.5F, 0, 0.5F, 0, /**/ 1, -1, 1, -1, /**/ 1, 1, 1, 1, /**/ 0.25F, 0.5F, 0.75F, 1}, 4);
    EXPECT_EQ(output, (Samples{0.25F, 0, 1, 0.625F}));
}

TEST(SampleRateConverter, samplesThatAreNoNumbersAreSilenceAndOthersAreLimited) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float infinite = std::numeric_limits<float>::infinity();
    EXPECT_EQ(converted({16000, 1}, {16000, 1}, {nan, infinite, -infinite, 1.14F, -3, 0.5F}, 6),
        (Samples{0, 0, 0, 1, -1, 0.5F}));
    EXPECT_EQ(converted({16000, 2}, {16000, 1}, {nan, 1, 8, -1}, 2), (Samples{0.5F, 0}))
        << "each before the channels are mixed";

    Samples input = sine(1000, 48000, 24000);
    const Samples clean = converted({48000, 1}, {16000, 1}, input, 4096);
    for (std::size_t i = 0; i < 100; ++i) input[i] = i % 2 == 0 ? nan : infinite;
    const Samples output = converted({48000, 1}, {16000, 1}, input, 4096);
    ASSERT_EQ(output.size(), clean.size());
    EXPECT_TRUE(std::equal(output.begin() + 200, output.end(), clean.begin() + 200))
        << "they spoil nothing that comes later";

    // A square wave makes the filter swing above 1.
    Samples square(24000);
    for (std::size_t i = 0; i < square.size(); ++i) square[i] = i / 100 % 2 == 0 ? 1 : -1;
    const Samples swung = converted({48000, 1}, {16000, 1}, square, 4096);
    EXPECT_EQ(*std::max_element(swung.begin(), swung.end()), 1);
    EXPECT_EQ(*std::min_element(swung.begin(), swung.end()), -1);
}

TEST(SampleRateConverter, anOutputWithoutRoomIsAnErrorAndIsNotOverrun) {
    struct Case {
        const char* why;
        double from;
        std::size_t frames;
        std::size_t room;
        bool fits;
    };
    const Case cases[] = {
        {"copied, exactly", 16000, 100, 100, true},
        {"copied, one too many", 16000, 101, 100, false},
        {"resampled, room for all", 48000, 9000, 3000, true},
        {"resampled, room for a third", 48000, 9000, 1000, false},
        {"no room at all", 48000, 9000, 0, false},
        {"of several pieces the last does not fit", 16000, 4096 * 2 + 1, 4096 * 2, false},
    };
    for (const auto& c : cases) {
        SampleRateConverters converters;
        const auto converter = converters.make({c.from, 1}, {16000, 1});
        // Exactly as large as it says: the address sanitizer sees what goes beyond.
        PCMBuffer output({16000, 1}, c.room);
        const Samples input = sine(1000, c.from, c.frames);
        EXPECT_EQ(converter->convert(input, output), c.fits) << c.why;
        EXPECT_STREQ(converter->error(), c.fits ? "" : "no room in the output") << c.why;
        EXPECT_LE(output.frameLength, c.room) << c.why;
    }
    SampleRateConverters converters;
    const auto converter = converters.make({48000, 1}, {16000, 1});
    PCMBuffer output({16000, 1}, 4000);
    PCMBuffer tiny({16000, 1}, 5);
    ASSERT_TRUE(converter->convert(sine(1000, 48000, 9000), output));
    EXPECT_FALSE(converter->drain(tiny)) << "the tail is longer";
    ASSERT_TRUE(converter->convert(sine(1000, 48000, 9000), output));
    EXPECT_TRUE(converter->drain(output)) << "after a failure the next stream works";
    EXPECT_GT(output.frameLength, 5U);
    ASSERT_TRUE(converter->drain(output));
    EXPECT_EQ(output.frameLength, 0U) << "an empty stream has no tail";

    PCMBuffer stereo({16000, 2}, 4000);
    PCMBuffer faster({22050, 1}, 4000);
    EXPECT_FALSE(converter->convert(Samples(10), stereo)) << "an output of another format";
    EXPECT_FALSE(converter->convert(Samples(10), faster));
    EXPECT_FALSE(converters.make({48000, 2}, {16000, 1})->convert(Samples(3), output))
        << "half a frame";
}

TEST(SampleRateConverter, someFormatsCannotBeConverted) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double infinite = std::numeric_limits<double>::infinity();
    struct Case {
        const char* why;
        AudioFormat from;
        AudioFormat to;
        bool isMade;
    };
    const Case cases[] = {
        {"no rate", {0, 1}, {16000, 1}, false},
        {"no channels", {48000, 0}, {16000, 1}, false},
        {"less than none", {-48000, 1}, {16000, 1}, false},
        {"no number", {nan, 1}, {16000, 1}, false},
        {"no number wanted", {48000, 1}, {nan, 1}, false},
        {"endless", {infinite, 1}, {infinite, 1}, false},
        {"to two channels", {48000, 2}, {16000, 2}, false},
        {"slowest", {1, 1}, {1, 1}, true},
        {"slower", {0.99, 1}, {0.99, 1}, false},
        {"fastest", {768'000, 1}, {16000, 1}, true},
        {"faster", {768'001, 1}, {16000, 1}, false},
        {"256 times", {62.5, 1}, {16000, 1}, true},
        {"more than 256 times", {62.4, 1}, {16000, 1}, false},
        {"a 256th", {256'000, 1}, {1000, 1}, true},
        {"less than a 256th", {256'001, 1}, {1000, 1}, false},
    };
    SampleRateConverters converters;
    for (const auto& c : cases)
        EXPECT_EQ(converters.make(c.from, c.to) != nullptr, c.isMade) << c.why;
}

TEST(SampleRateConverter, convertingTakesNothingFromTheHeap) {
    for (const AudioFormat from :
        {AudioFormat{48000, 2}, AudioFormat{16000, 1}, AudioFormat{8000, 1}}) {
        SampleRateConverters converters;
        const auto converter = converters.make(from, {16000, 1});
        const Samples input = sine(1000, from.sampleRate, 5000, from.channels);
        PCMBuffer output({16000, 1}, 12'000);
        PCMBuffer tiny({16000, 1}, 3);
        const AllocationCount count;
        bool isOk = true;
        for (int i = 0; i < 5; ++i) isOk = converter->convert(input, output) && isOk;
        isOk = converter->drain(output) && isOk;
        const bool isTooMuch = !converter->convert(input, tiny);
        EXPECT_EQ(count.value(), 0U) << from.sampleRate;
        EXPECT_TRUE(isOk && isTooMuch);
    }
    const AllocationCount count;
    void* volatile memory = std::malloc(3); // volatile: or the compiler leaves it out
    std::free(memory);
    const auto made = std::make_unique<Samples>(7);
    EXPECT_EQ(count.value(), 3U) << "the counting works";
}

} // namespace nimbe
