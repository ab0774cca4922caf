#pragma once

#include <QtWidgets/QApplication>
#include <memory>

#include <gtest/gtest.h>

#include "NimbeUI/DesktopUI.h"
#include "Support/Process.h"

namespace nimbe {

/// The application object of tests on a desktop: two screens side by side, at the scale
/// that NIMBE_TEST_SCALE says.
class DesktopApplication final : public testing::Environment {
    void SetUp() override {
        if (qEnvironmentVariableIsSet("NIMBE_TEST_SCALE"))
            qputenv("QT_SCALE_FACTOR", qgetenv("NIMBE_TEST_SCALE"));
        const auto left = Process::run(
            {"/usr/bin/xrandr", "--setmonitor", "left", "1280/338x800/211+0+0", "screen"}, "");
        const auto right = Process::run(
            {"/usr/bin/xrandr", "--setmonitor", "right", "1280/338x800/211+1280+0", "none"}, "");
        ASSERT_EQ(left.exitCode + right.exitCode, 0) << left.error << right.error;
        prepareDesktopUI();
        application = std::make_unique<QApplication>(argumentCount, arguments);
    }
    void TearDown() override { application.reset(); }

    int argumentCount = 1;
    char name[6] = "tests";
    char* arguments[2] = {name, nullptr};
    std::unique_ptr<QApplication> application;
};

[[maybe_unused]] inline const auto* const desktopApplication =
    testing::AddGlobalTestEnvironment(std::make_unique<DesktopApplication>().release());

} // namespace nimbe
