#include <QtWidgets/QApplication>

#include <gtest/gtest.h>

#include "Fakes/FakeLogSink.h"
#include "NimbeUI/Fonts.h"

namespace nimbe {
namespace {

/// Fonts, timers and widgets want one.
class OffscreenApplication final : public testing::Environment {
    void SetUp() override {
        qputenv("QT_QPA_PLATFORM", "offscreen");
        application = std::make_unique<QApplication>(argumentCount, arguments);
        registerFonts(log);
        EXPECT_TRUE(log.lines.empty()) << log.all();
    }
    void TearDown() override { application.reset(); }

    int argumentCount = 1;
    char name[6] = "tests";
    char* arguments[2] = {name, nullptr};
    FakeLogSink log;
    std::unique_ptr<QApplication> application;
};

[[maybe_unused]] const auto* const environment =
    testing::AddGlobalTestEnvironment(std::make_unique<OffscreenApplication>().release());

} // namespace
} // namespace nimbe
