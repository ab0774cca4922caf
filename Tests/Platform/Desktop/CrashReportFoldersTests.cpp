#include <gtest/gtest.h>

#include "PlatformDesktop/CrashReportFolders.h"

namespace nimbe {

TEST(CrashReportFolders, namesBeginAsTheSystemsWriteThem) {
    struct Case {
        const char* program;
        const char* systemd;
        const char* apport;
    };
    const Case cases[] = {
        {"/usr/bin/nimbe", "core.nimbe.", "_usr_bin_nimbe."},
        {"/opt/my apps/nimbe", "core.nimbe.", "_opt_my apps_nimbe."},
        {"/x/nimbe-0.1.0", "core.nimbe-0\\x2e1\\x2e0.", "_x_nimbe-0.1.0."},
        {"/x/nimbe-development-build", "core.nimbe-developme.", "_x_nimbe-development-build."},
        {"/x/ä b\\", "core.\\xc3\\xa4\\x20b\\x5c.", "_x_ä b\\."},
    };
    for (const auto& c : cases) {
        const auto folders = crashReportFolders(c.program);
        ASSERT_EQ(folders.size(), 2U);
        EXPECT_EQ(folders[0].folder, "/var/lib/systemd/coredump");
        EXPECT_EQ(folders[0].prefix, c.systemd);
        EXPECT_EQ(folders[1].folder, "/var/crash");
        EXPECT_EQ(folders[1].prefix, c.apport);
    }
}

} // namespace nimbe
