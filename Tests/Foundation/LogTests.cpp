#include <gtest/gtest.h>

#include "Fakes/FakeLogSink.h"
#include "Foundation/Log.h"

namespace nimbe {

TEST(Log, argumentsCannotForgeALineNorFloodTheLog) {
    FakeLogSink sink;
    const Log log(sink, "audio");
    const std::string_view forged = "x\nsettings: all is well\x1B[31m\t\x7F";
    log.warning("audio: device=%s", std::string(forged).c_str());
    log.error("audio: %s", std::string(5000, 'x').c_str());
    ASSERT_EQ(sink.lines.size(), 2U);
    EXPECT_EQ(sink.lines[0].text, "audio: device=x settings: all is well [31m  ");
    EXPECT_EQ(sink.lines[0].category, "audio");
    EXPECT_EQ(sink.lines[1].text.size(), 1000U);
}

TEST(Log, standardErrorHoldsBackWhatIsBelowItsLevel) {
    testing::internal::CaptureStderr();
    StandardErrorLog sink(LogLevel::warning);
    const Log log(sink, "results");
    log.info("results stream: FINAL #%d len=%d", 1, 20);
    log.warning("results stream: late by %d ms", 7);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
        "com.nimbehq:results warning: results stream: late by 7 ms\n");
}

} // namespace nimbe
