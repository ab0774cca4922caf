#include <csignal>
#include <cstdlib>
#include <cstring>
#include <future>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "PasteboardTest.h"
#include "PlatformX11/XcbSelectionReader.h"

extern char** environ;

namespace nimbe {
namespace {

using XcbPasteboardFaults = PasteboardTest;

// The port's second, with what a busy machine may add to it.
constexpr Seconds aSecond = 1.4;

TEST_F(XcbPasteboardFaults, aSilentOwnerCostsASecondAtMost) {
    struct Case {
        const char* why;
        StrangeOwner::Behaviour behaviour;
        std::vector<std::string> come;
    };
    const Case cases[] = {
        {"answers nothing", {.hangs = true}, {}},
        {"knows its targets only", {.silent = {"UTF8_STRING", "text/html", "image/png", "a", "b"}},
            {}},
        {"one form never comes", {.silent = {"text/html"}}, {"UTF8_STRING", "a", "b", "image/png"}},
        {"as many as are asked for at a time never come",
            {.silent = {"UTF8_STRING", "text/html", "a", "b"}}, {}},
        {"stops in the middle of one", {.silent = {"image/png"}, .piece = 2},
            {"UTF8_STRING", "text/html", "a", "b"}},
    };
    for (const auto& c : cases) {
        const StrangeOwner owner(
            {utf8("text"), {"text/html", bytes("html"), "text/html", 8}, {"a", {}, "a", 8},
                {"b", bytes("bb"), "b", 8}, large("image/png", 100)},
            c.behaviour);
        std::vector<std::string> come;
        EXPECT_LT(timeOf([&] {
            for (const auto& form : snapshot().forms) come.push_back(form.type);
        }),
            aSecond)
            << c.why;
        EXPECT_EQ(come, c.come) << c.why;
    }
}

TEST_F(XcbPasteboardFaults, refusedFormsAreLeftOutAtOnce) {
    const StrangeOwner owner(
        {utf8("text"), {"text/html", bytes("html"), "text/html", 8}}, {.refused = {"UTF8_STRING"}});
    EXPECT_LT(timeOf([&] { EXPECT_EQ(snapshot().forms.size(), 1U); }), 0.5);
    EXPECT_TRUE(log.has(LogLevel::warning, "read 1 of 2 forms; refused 1")) << log.all();
    EXPECT_FALSE(log.has(LogLevel::debug, "html") || log.has(LogLevel::warning, "html"));
}

TEST_F(XcbPasteboardFaults, anOwnerWithoutTargetsGivesItsText) {
    const StrangeOwner owner({utf8("text")}, {.knowsTargets = false});
    EXPECT_EQ(snapshot().forms, std::vector{utf8("text")});
}

TEST_F(XcbPasteboardFaults, anOwnerThatDiesMidwayLosesOnlyTheRest) {
    for (const int pieces : {0, 3}) {
        const StrangeOwner owner(
            {utf8("text"), large("image/bmp", 900'000)}, {.diesAfterPieces = pieces});
        Contents contents;
        EXPECT_LT(timeOf([&] { contents = snapshot(); }), 0.5) << "its end is noticed";
        EXPECT_EQ(contents.forms, std::vector{utf8("text")});
    }
}

TEST_F(XcbPasteboardFaults, manySlowImagesCostTheLastOfThem) {
    std::vector<Form> forms;
    for (int i = 0; i < 40; ++i) forms.push_back(large("image/x-" + std::to_string(i), 1000));
    forms.push_back(large("image/png", 1000));
    forms.push_back(utf8("its name"));
    const StrangeOwner owner(forms, {.work = 0.1});
    Contents contents;
    EXPECT_LT(timeOf([&] { contents = snapshot(); }), aSecond);
    ASSERT_GE(contents.forms.size(), 3U);
    EXPECT_LT(contents.forms.size(), 12U);
    EXPECT_EQ(contents.forms.back().type, "UTF8_STRING") << "asked for first, in the owner's order";
    EXPECT_EQ(contents.forms.end()[-2].type, "image/png");
    EXPECT_TRUE(log.has(LogLevel::warning, "of 42 forms; refused 0, too large 0, late "));
}

TEST_F(XcbPasteboardFaults, contentsAreOfOneProgram) {
    std::unique_ptr<StrangeOwner> second;
    const StrangeOwner first({utf8("first"), {"text/html", bytes("first"), "text/html", 8}},
        {.silent = {"text/html"}, .onRequest = [&] {
             if (!second) second = std::make_unique<StrangeOwner>(std::vector{utf8("second")});
         }});
    EXPECT_LT(timeOf([&] { EXPECT_EQ(snapshot().forms, std::vector{utf8("second")}); }), aSecond);
}

TEST_F(XcbPasteboardFaults, sixtyFourMegabytesAreAskedForAndNotAByteMore) {
    for (const std::size_t beyond : {0U, 1U}) {
        const StrangeOwner owner({{"x", Bytes(std::size_t{64} * 1024 * 1024 + beyond), "x", 8}});
        (void)snapshot(); // on a slow machine in part
        EXPECT_EQ(log.has(LogLevel::warning, "too large 1"), beyond == 1) << log.all();
    }
}

TEST_F(XcbPasteboardFaults, theRoomIsForAllFormsTogether) {
    struct Case {
        const char* why;
        std::size_t piece;
        bool announcesSize;
        std::vector<std::size_t> sizes;
        std::vector<std::size_t> kept;
    };
    const Case cases[] = {
        {"exactly the room", 100'000, true, {1000}, {1000}},
        {"at once", 100'000, true, {1001}, {}},
        {"in pieces", 100, false, {1000}, {1000}},
        {"in pieces, and nobody had said it", 100, false, {1001}, {}},
        {"in one piece too many", 600, false, {1001}, {}},
        {"together", 100'000, true, {400, 600}, {400, 600}},
    };
    for (const auto& c : cases) {
        std::vector<Form> forms;
        for (const auto size : c.sizes)
            forms.push_back(large("x/" + std::to_string(forms.size()), size));
        const StrangeOwner owner(forms, {.piece = c.piece, .announcesSize = c.announcesSize});
        const auto x11 = XcbLoop::connect(log, "reader");
        XcbRequestors requestors(*x11);
        std::promise<Contents> done;
        XcbSelectionReader reader(
            *x11, requestors, x11->atom("CLIPBOARD"), Log(log, "test"),
            [&](Contents contents) { done.set_value(std::move(contents)); }, 1000);
        x11->start([&](const auto& event) { reader.handle(event); });
        x11->post([&] { reader.start(); });
        std::vector<std::size_t> kept;
        for (const auto& form : done.get_future().get().forms) kept.push_back(form.data.size());
        EXPECT_EQ(kept, c.kept) << c.why;
        x11->stop();
    }
}

TEST_F(XcbPasteboardFaults, aStalledOrDeadRequestorHoldsNobodyUp) {
    const auto picture = large("image/bmp", 3'000'000);
    ASSERT_GT(write({{picture, utf8("dictated")}}), 0);
    StrangeRequestor stalled;
    stalled.begin("image/bmp", 2);
    {
        StrangeRequestor dead;
        dead.begin("image/bmp", 2);
        dead.die();
    }
    EXPECT_EQ(other.fetch("image/bmp"), picture);
    EXPECT_EQ(text(), "dictated");
    EXPECT_EQ(stalled.fetch("image/bmp"), picture) << "it may begin again";
}

TEST_F(XcbPasteboardFaults, aTransferGoesOnWithWhatItBeganWith) {
    const auto picture = large("image/bmp", 3'000'000);
    const auto change = write({{picture}});
    other.begin("image/bmp", 3);
    const StrangeOwner owner({utf8("copied meanwhile")});
    EXPECT_FALSE(replace(change, {}));
    EXPECT_EQ(other.finish(), picture);
}

/// Keeps what others leave; one that hangs takes nothing.
class StrangeManager final : public XcbStranger {
public:
    explicit StrangeManager(bool hangs) : hangs(hangs) {
        xcb_set_selection_owner(xcb, window, atom("CLIPBOARD_MANAGER"), XCB_CURRENT_TIME);
        (void)atom("SAVE_TARGETS");
        thread = std::thread([this] { run(); });
    }
    ~StrangeManager() override {
        isStopping = true;
        thread.join();
    }
    std::atomic<int> asked = 0;
    std::unique_ptr<StrangeOwner> kept; // once the one who left has gone

private:
    bool hangs;
    std::atomic<bool> isStopping = false;
    std::thread thread;

    void run() {
        while (!isStopping) {
            const XcbPointer<xcb_generic_event_t> event{waitForEvent(0.002)};
            if (!event || (event->response_type & 0x7F) != XCB_SELECTION_REQUEST) continue;
            ++asked;
            if (hangs) continue;
            const auto& request =
                *reinterpret_cast<const xcb_selection_request_event_t*>(event.get());
            StrangeRequestor requestor;
            std::vector<Form> forms;
            for (const auto& target : requestor.targets())
                if (auto form = requestor.fetch(target); form && form->encoding == target)
                    forms.push_back(*form);
            kept = std::make_unique<StrangeOwner>(forms);
            xcb_selection_notify_event_t notify{};
            notify.response_type = XCB_SELECTION_NOTIFY;
            notify.requestor = request.requestor;
            notify.selection = request.selection;
            notify.target = request.target;
            notify.property = request.property;
            char message[32] = {};
            std::memcpy(message, &notify, sizeof notify);
            xcb_send_event(xcb, 0, request.requestor, 0, message);
        }
    }
};

TEST_F(XcbPasteboardFaults, contentsOutliveTheProgramWithAClipboardManager) {
    const auto picture = large("image/bmp", 700'000);
    struct Case {
        const char* why;
        Contents contents;
        bool hangs;
        int asked;
        std::string text;
    };
    const Case cases[] = {
        {"contents put back", {{utf8("from before"), picture}}, false, 1, "from before"},
        {"a dictation is not recorded", Contents::concealedText("dictated"), false, 0, "(refused)"},
        {"there is nothing", {}, false, 0, "(refused)"},
        {"it never says that it is done", {{utf8("from before")}}, true, 1, "(refused)"},
    };
    for (const auto& c : cases) {
        const StrangeManager manager(c.hangs);
        const auto change = write(Contents::plainText("dictated"));
        { const auto dropped = board->replace(change, c.contents); }
        EXPECT_LT(timeOf([&] { board.reset(); }), aSecond) << c.why;
        EXPECT_EQ(manager.asked, c.asked) << c.why;
        EXPECT_EQ(text(), c.text) << c.why;
        if (c.text == "from before") {
            EXPECT_EQ(other.fetch("image/bmp"), picture) << c.why;
        }
        board = XcbPasteboard::create(loop, "CLIPBOARD", log);
    }
}

/// A server that the test may stop and kill; the environment's while it lives.
class PrivateServer {
public:
    PrivateServer() : previous(std::getenv("DISPLAY")) {
        int ends[2];
        if (::pipe(ends) != 0) throw std::runtime_error("pipe");
        const auto end = std::to_string(ends[1]);
        const char* arguments[] = {"Xvfb", "-displayfd", end.c_str(), "-screen", "0", "320x240x24",
            "-nolisten", "tcp", "-noreset", nullptr};
        ::posix_spawnp(
            &pid, "Xvfb", nullptr, nullptr, const_cast<char* const*>(arguments), environ);
        ::close(ends[1]);
        std::string number;
        for (char each = 0; ::read(ends[0], &each, 1) == 1 && each != '\n';) number += each;
        ::close(ends[0]);
        ::setenv("DISPLAY", (":" + number).c_str(), 1);
    }
    ~PrivateServer() {
        signal(SIGKILL);
        ::waitpid(pid, nullptr, 0);
        ::setenv("DISPLAY", previous.c_str(), 1);
    }
    PrivateServer(const PrivateServer&) = delete;
    PrivateServer& operator=(const PrivateServer&) = delete;

    void signal(int number) const { ::kill(pid, number); }

private:
    std::string previous;
    pid_t pid = -1;
};

TEST_F(XcbPasteboardFaults, aServerThatGoesEndsWhatIsUnderWay) {
    const PrivateServer server;
    const auto there = XcbPasteboard::create(loop, "CLIPBOARD", log);
    const auto change = wait(there->write(Contents::plainText("dictated")));
    ASSERT_TRUE(change);
    const StrangeOwner owner({utf8("text")}, {.hangs = true});
    auto reading = there->snapshot();
    while (owner.requests == 0) std::this_thread::yield();
    server.signal(SIGKILL);
    EXPECT_LT(timeOf([&] {
        EXPECT_EQ(wait(std::move(reading)), Contents());
        EXPECT_EQ(wait(there->write(Contents::plainText("x"))), std::nullopt);
        EXPECT_FALSE(wait(there->replace(*change, {})));
        EXPECT_EQ(wait(there->snapshot()), Contents());
    }),
        0.5);
    EXPECT_TRUE(log.has(LogLevel::error, "the display has gone"));
}

TEST_F(XcbPasteboardFaults, aServerThatDoesNotAnswerEndsNothingElse) {
    const PrivateServer server;
    auto there = XcbPasteboard::create(loop, "CLIPBOARD", log);
    server.signal(SIGSTOP);
    EXPECT_LT(timeOf([&] { EXPECT_EQ(wait(there->snapshot()), Contents()); }), aSecond);
    EXPECT_LT(timeOf([&] { EXPECT_EQ(wait(there->write({})), std::nullopt); }), aSecond);
    EXPECT_LT(timeOf([&] { there.reset(); }), 2.4);
}

TEST_F(XcbPasteboardFaults, noDisplayNoPasteboard) {
    const std::string previous = std::getenv("DISPLAY");
    ::setenv("DISPLAY", ":4711", 1);
    EXPECT_FALSE(XcbPasteboard::create(loop, "CLIPBOARD", log));
    ::setenv("DISPLAY", previous.c_str(), 1);
}

} // namespace
} // namespace nimbe
