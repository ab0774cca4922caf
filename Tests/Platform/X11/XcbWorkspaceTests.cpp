#include <algorithm>
#include <fstream>
#include <string>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "Fakes/FakeLogSink.h"
#include "PlatformX11/XcbWorkspace.h"
#include "Support/Process.h"
#include "Support/TemporaryFolder.h"
#include "TestDesktop.h"

namespace nimbe {
namespace {

struct XcbWorkspaceTest : testing::Test {
    FakeLogSink log;
    RunLoop actor;
    std::unique_ptr<XcbWorkspace> workspace = XcbWorkspace::connect(actor, log);

    void SetUp() override {
        ASSERT_TRUE(workspace);
        ASSERT_TRUE(eventually(actor, [] { return managedWindows().empty(); }));
    }
    [[nodiscard]] bool isInFront(xcb_window_t window) {
        const auto front = workspace->frontmostApplication();
        return front && front->window == window;
    }
    [[nodiscard]] bool comesToFront(const TestWindow& window) {
        return eventually(actor, [&] { return isInFront(window.id()); });
    }
};

} // namespace

TEST_F(XcbWorkspaceTest, tellsWhatIsKnownOfAWindow) {
    struct Case {
        const char* why;
        TestWindow::Looks looks;
        std::optional<int> pid;
        std::optional<std::string> name;
        std::string windowClass;
    };
    const int own = ::getpid();
    const Case cases[] = {
        {"all is there", {.title = "Letter – Editor"}, own, "Probe", "Probe"},
        {"no class", {.instance = {}, .title = "Grüße – ändern"}, own, "Grüße – ändern", ""},
        {"the old title in Latin-1",
            {.instance = {},
                .oldTitle = "Gr\xfc\xdf"
                            "e"},
            own, "Grüße", ""},
        {"the old title in UTF-8", {.instance = {}, .oldTitle = "Grüße"}, own, "Grüße", ""},
        {"the new title before the old one", {.instance = {}, .title = "new", .oldTitle = "old"},
            own, "new", ""},
        {"lines are blanks", {.instance = {}, .title = " two\nlines\t"}, own, "two lines", ""},
        {"no title", {.instance = {}}, own, std::nullopt, ""},
        {"no process", {.hasPid = false}, std::nullopt, "Probe", "Probe"},
        {"a process of another machine", {.machine = "elsewhere"}, std::nullopt, "Probe", "Probe"},
        {"a class in Latin-1",
            {.instance = "pr",
                .className = "Pr\xf6"
                             "be"},
            own, "Pröbe", "Pröbe"},
    };
    for (const auto& c : cases) {
        const TestWindow window(c.looks);
        ASSERT_TRUE(comesToFront(window)) << c.why;
        const auto front = workspace->frontmostApplication();
        ASSERT_TRUE(front) << c.why;
        EXPECT_EQ(front->pid, c.pid) << c.why;
        EXPECT_EQ(front->localizedName, c.name) << c.why;
        EXPECT_EQ(front->windowClass, c.windowClass) << c.why;
        EXPECT_EQ(workspace->isThisApplication(*front), c.pid.has_value()) << c.why;
        ASSERT_TRUE(front->frame) << c.why;
        EXPECT_EQ(front->frame->width, 300) << c.why;
        EXPECT_EQ(front->frame->height, 200) << c.why;
    }
}

TEST_F(XcbWorkspaceTest, aLongTitleIsCutBetweenCharacters) {
    std::string title = "a";
    for (int i = 0; i < 2000; ++i) title += "ö";
    const TestWindow window({.instance = {}, .title = title});
    ASSERT_TRUE(comesToFront(window));
    const auto name = workspace->frontmostApplication()->localizedName;
    ASSERT_TRUE(name);
    EXPECT_EQ(*name, title.substr(0, 999));
}

TEST_F(XcbWorkspaceTest, theFrameIsWhereTheWindowIs) {
    const TestWindow window;
    ASSERT_TRUE(comesToFront(window));
    // By the server's own tool.
    const auto info =
        Process::run({"/usr/bin/xwininfo", "-id", std::to_string(window.id())}, {}).output;
    const auto number = [&](const std::string& label) {
        return std::stoi(info.substr(info.find(label) + label.size()));
    };
    const auto frame = workspace->frontmostApplication()->frame;
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->x, number("Absolute upper-left X:"));
    EXPECT_EQ(frame->y, number("Absolute upper-left Y:"));
}

TEST_F(XcbWorkspaceTest, bringsWindowsForwardAndTellsOfThem) {
    std::vector<std::uint64_t> seen;
    auto token = workspace->observeActivation(
        [&](const RunningApplication& application) { seen.push_back(application.window); });
    const auto isTold = [&](const TestWindow& window) {
        return eventually(actor, [&] { return !seen.empty() && seen.back() == window.id(); });
    };
    const TestWindow first;
    EXPECT_TRUE(isTold(first));
    TestWindow second;
    EXPECT_TRUE(isTold(second));

    workspace->activate({.window = first.id()});
    EXPECT_TRUE(comesToFront(first));
    EXPECT_TRUE(isTold(first));
    EXPECT_EQ(seen, (std::vector<std::uint64_t>{first.id(), second.id(), first.id()}));

    second.minimise();
    ASSERT_TRUE(eventually(actor, [&] { return !second.isViewable(); }));
    workspace->activate({.window = second.id()});
    EXPECT_TRUE(comesToFront(second));
    EXPECT_TRUE(second.isViewable());

    token.reset();
    const auto before = seen.size();
    workspace->activate({.window = first.id()});
    EXPECT_TRUE(comesToFront(first));
    runFor(actor, 0.05);
    EXPECT_EQ(seen.size(), before);
}

TEST_F(XcbWorkspaceTest, someWindowsDoNotComeForward) {
    const TestWindow front;
    ASSERT_TRUE(comesToFront(front));
    {
        TestWindow deaf({.takesInput = false});
        ASSERT_TRUE(eventually(actor, [&] { return deaf.isViewable(); }));
        workspace->activate({.window = deaf.id()});
        runFor(actor, 0.3); // obeyed, it would be there within 0.07 s
        EXPECT_FALSE(isInFront(deaf.id())) << "keys would not get there";
    }
    xcb_window_t gone = XCB_NONE;
    {
        const TestWindow window;
        ASSERT_TRUE(comesToFront(window));
        gone = window.id();
    }
    ASSERT_TRUE(comesToFront(front));
    workspace->activate({.window = gone});
    workspace->activate({.window = 0});
    runFor(actor, 0.3);
    EXPECT_TRUE(isInFront(front.id()));
}

TEST_F(XcbWorkspaceTest, panelsAndDesktopsAreNoApplications) {
    for (const auto* type : {"_NET_WM_WINDOW_TYPE_DOCK", "_NET_WM_WINDOW_TYPE_DESKTOP"}) {
        TestWindow window({.type = type});
        ASSERT_TRUE(eventually(actor, [&] { return window.isViewable(); })) << type;
        workspace->activate({.window = window.id()});
        runFor(actor, 0.1);
        EXPECT_FALSE(workspace->frontmostApplication()) << type;
    }
}

/// A window manager says which is active; a program can take the keyboard elsewhere.
TEST_F(XcbWorkspaceTest, inFrontIsWhoHasTheKeyboard) {
    const TestWindow first;
    ASSERT_TRUE(comesToFront(first));
    TestWindow second;
    ASSERT_TRUE(comesToFront(second));
    auto* xcb = second.connection();
    const auto focus = [&](xcb_window_t window) {
        xcb_set_input_focus(xcb, XCB_INPUT_FOCUS_NONE, window, XCB_CURRENT_TIME);
        xcb_flush(xcb);
    };
    // A child has it: still the same window.
    const auto child = xcb_generate_id(xcb);
    xcb_create_window(xcb, XCB_COPY_FROM_PARENT, child, second.id(), 0, 0, 10, 10, 0,
        XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, 0, nullptr);
    xcb_map_window(xcb, child);
    focus(child);
    runFor(actor, 0.1);
    EXPECT_TRUE(isInFront(second.id()));
    // A menu of its own has it, or nobody.
    const auto menu = xcb_generate_id(xcb);
    const std::uint32_t unmanaged = 1;
    xcb_create_window(xcb, XCB_COPY_FROM_PARENT, menu,
        xcb_setup_roots_iterator(xcb_get_setup(xcb)).data->root, 0, 0, 10, 10, 0,
        XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, XCB_CW_OVERRIDE_REDIRECT, &unmanaged);
    xcb_map_window(xcb, menu);
    focus(menu);
    EXPECT_TRUE(eventually(actor, [&] { return !workspace->frontmostApplication(); }));
    // Another application's window has it.
    focus(first.id());
    EXPECT_TRUE(comesToFront(first));
}

TEST_F(XcbWorkspaceTest, applicationsAreCalledAsMenusCallThem) {
    const TemporaryFolder folder;
    std::ofstream(folder.path / "letter.txt") << "x";
    const struct {
        std::vector<std::string> program;
        const char* name;
        const char* windowClass;
    } cases[] = {
        {{"mousepad", "--disable-server", (folder.path / "letter.txt").string()}, "Mousepad",
            "Mousepad"},
        {{"featherpad", "--standalone", (folder.path / "letter.txt").string()}, "FeatherPad",
            "FeatherPad"},
        {{"xterm"}, "XTerm", "XTerm"},
    };
    for (const auto& c : cases) {
        const RunningProgram program(c.program);
        std::optional<RunningApplication> front;
        ASSERT_TRUE(eventually(actor, [&] {
            front = workspace->frontmostApplication();
            return front && front->pid == program.pid();
        })) << c.name;
        EXPECT_EQ(front->localizedName, c.name);
        EXPECT_EQ(front->windowClass, c.windowClass);
        EXPECT_FALSE(workspace->isThisApplication(*front));
    }
}

} // namespace nimbe
