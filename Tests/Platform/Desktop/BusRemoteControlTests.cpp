#include <array>
#include <atomic>
#include <barrier>
#include <future>
#include <optional>
#include <thread>

#include <gtest/gtest.h>

#include "Fakes/FakeLogSink.h"
#include "Foundation/RunLoop.h"
#include "PlatformDesktop/BusRemoteClient.h"
#include "PlatformDesktop/BusRemoteControl.h"
#include "PlatformDesktop/RemoteInterface.h"
#include "Support/BusService.h"
#include "Support/Process.h"

// On a session bus of their own: run by scripts/desktop-session.

namespace nimbe {
namespace {

using Name = BusRemoteControl::Name;
using Kind = RemoteError::Kind;
using Command = RemoteInstance::Command;

/// Stops the loop at each line.
class WakingLog final : public LogSink {
public:
    explicit WakingLog(RunLoop& loop) : loop(loop) {}
    void write(LogLevel level, std::string_view category, std::string_view line) override {
        kept.write(level, category, line);
        loop.stop();
    }
    FakeLogSink kept;

private:
    RunLoop& loop;
};

/// gdbus, as somebody's script would call it.
Process gdbus(std::vector<std::string> words) {
    words.insert(
        words.begin(), {"/usr/bin/gdbus", "call", "--session", "--timeout=10", "--dest",
                           "com.nimbehq.Nimbe", "--object-path", "/com/nimbehq/Nimbe", "--method"});
    return Process::run(std::move(words), "");
}

struct BusRemoteControlTest : testing::Test {
    RunLoop loop;
    FakeLogSink log;
    std::optional<BusRemoteControl> control;
    std::vector<std::string> done; // what was carried out, in order
    RemoteStatus status{"idle"};

    void SetUp() override { control.emplace(loop, log); }

    RemoteHandlers handlers() {
        const auto note = [this](const char* name, bool answer) {
            return [this, name, answer] {
                done.emplace_back(name);
                return answer;
            };
        };
        return {note("toggle", true), note("start", true), note("stop", false),
            note("cancel", false), [this] { return status; },
            [this] { done.emplace_back("activate"); },
            [this] {
                done.emplace_back("quit");
            }};
    }

    /// Somebody else asks, while this thread is the program's main one.
    template <typename Ask>
    auto whileServing(Ask ask) {
        auto answer = std::async(std::launch::async, [&] {
            auto result = ask();
            loop.stop();
            return result;
        });
        loop.run();
        return answer.get();
    }
};

Seconds since(std::chrono::steady_clock::time_point begin) {
    return std::chrono::duration<Seconds>(std::chrono::steady_clock::now() - begin).count();
}

} // namespace

TEST_F(BusRemoteControlTest, otherProgramsReachTheHandlers) {
    ASSERT_EQ(control->takeName(), Name::owned) << log.all();
    control->serve(handlers());
    status = {"recording", std::nullopt, "Žluťoučký \xFF editor", true};
    struct Case {
        const char* why;
        std::vector<std::string> words;
        int exitCode;
        const char* says;
    };
    const Case cases[] = {
        {"done", {"com.nimbehq.Nimbe1.Toggle"}, 0, "(true,)"},
        {"not now", {"com.nimbehq.Nimbe1.Stop"}, 0, "(false,)"},
        {"a name that is no UTF-8 must not cut us off the bus", {"com.nimbehq.Nimbe1.Status"}, 0,
            "({'phase': <'recording'>, 'target': <'Žluťoučký \xEF\xBF\xBD editor'>, "
            "'latched': <true>},)"},
        {"without a result", {"com.nimbehq.Nimbe1.Activate"}, 0, "()"},
        {"unknown method", {"com.nimbehq.Nimbe1.Erase"}, 1, "UnknownMethod"},
        {"unknown interface", {"com.nimbehq.Nimbe2.Toggle"}, 1, "UnknownMethod"},
        {"introspection", {"org.freedesktop.DBus.Introspectable.Introspect"}, 0, "StatusChanged"},
    };
    for (const auto& c : cases) {
        const auto ran = whileServing([&] { return gdbus(c.words); });
        EXPECT_EQ(ran.exitCode, c.exitCode) << c.why << ran.error;
        EXPECT_NE((ran.output + ran.error).find(c.says), std::string::npos)
            << c.why << ": " << ran.output << ran.error;
    }
    // gdbus itself would refuse what the introspection does not have.
    const auto wrong = whileServing([] {
        return Process::run(
            {"/usr/bin/dbus-send", "--session", "--print-reply", "--dest=com.nimbehq.Nimbe",
                "/com/nimbehq/Nimbe", "com.nimbehq.Nimbe1.Toggle", "string:now"},
            "");
    });
    EXPECT_NE(wrong.error.find("InvalidArgs"), std::string::npos) << wrong.error;
    EXPECT_EQ(done, (std::vector<std::string>{"toggle", "stop", "activate"}));
}

TEST_F(BusRemoteControlTest, ofTwoThatStartTogetherOneGetsTheName) {
    for (int i = 0; i < 20; ++i) {
        BusRemoteControl other(loop, log);
        control.emplace(loop, log);
        std::barrier start(2);
        const auto take = [&](BusRemoteControl& one) {
            start.arrive_and_wait();
            return one.takeName();
        };
        auto theirs = std::async(std::launch::async, take, std::ref(other));
        const auto ours = take(*control);
        const auto second = theirs.get();
        EXPECT_NE(ours, second) << i;
        EXPECT_TRUE(ours == Name::owned || second == Name::owned) << i;
        EXPECT_TRUE(ours == Name::taken || second == Name::taken) << i;
    }
    control.reset();
    control.emplace(loop, log);
    EXPECT_EQ(control->takeName(), Name::owned) << "a name that is given up is free again";
}

TEST_F(BusRemoteControlTest, aBlockedMainThreadIsBusyAndDoesNothingLate) {
    ASSERT_EQ(control->takeName(), Name::owned);
    control->serve(handlers());
    loop.post([&] {
        const auto begin = std::chrono::steady_clock::now();
        const auto ran = gdbus({"com.nimbehq.Nimbe1.Toggle"}); // while this thread waits
        EXPECT_EQ(ran.exitCode, 1);
        EXPECT_NE(ran.error.find("com.nimbehq.Nimbe1.Error.Busy"), std::string::npos) << ran.error;
        EXPECT_LT(since(begin), 10);
        BusRemoteClient client;
        const auto answer = client.ask(Command::toggle);
        ASSERT_FALSE(answer);
        EXPECT_EQ(answer.error().kind, Kind::noAnswer) << answer.error().detail;
        loop.stop();
    });
    loop.run();
    BusRemoteClient client;
    const auto after = whileServing([&] { return client.ask(Command::stop); });
    EXPECT_EQ(after.value(), false);
    EXPECT_EQ(done, std::vector<std::string>{"stop"}) << "nobody waits for a toggle any more";
}

TEST_F(BusRemoteControlTest, callsBeforeTheHandlersWaitForThem) {
    ASSERT_EQ(control->takeName(), Name::owned);
    BusRemoteClient client;
    // Late enough for both calls to be here before.
    auto first = std::async(std::launch::async, [&] { return client.ask(Command::toggle); });
    const Token later = loop.schedule(0.3, [&] { control->serve(handlers()); });
    const auto second = whileServing([&] { return client.status(); });
    EXPECT_EQ(first.get().value(), true);
    EXPECT_EQ(second.value(), RemoteStatus{"idle"});
    EXPECT_EQ(done, std::vector<std::string>{"toggle"});
}

TEST_F(BusRemoteControlTest, withoutHandlersCallersAreNotKept) {
    ASSERT_EQ(control->takeName(), Name::owned);
    BusRemoteClient client;
    const auto begin = std::chrono::steady_clock::now();
    const auto answer = whileServing([&] { return client.ask(Command::start); });
    ASSERT_FALSE(answer);
    EXPECT_EQ(answer.error().kind, Kind::noAnswer);
    EXPECT_LT(since(begin), 10);
    control->serve(handlers());
    EXPECT_EQ(whileServing([&] { return client.ask(Command::cancel); }).value(), false);
    EXPECT_EQ(done, std::vector<std::string>{"cancel"});
}

TEST_F(BusRemoteControlTest, whoAsksToQuitHasAnAnswerThoughItAllGoes) {
    for (int i = 0; i < 10; ++i) {
        control.emplace(loop, log);
        ASSERT_EQ(control->takeName(), Name::owned);
        auto given = handlers();
        given.quit = [this] {
            control.reset();
        };
        control->serve(std::move(given));
        BusRemoteClient client;
        const auto answer = whileServing([&] { return client.quit(); });
        EXPECT_TRUE(answer) << i << ": " << answer.error().detail;
        EXPECT_FALSE(control);
        EXPECT_EQ(client.status().error().kind, Kind::notRunning);
    }
}

TEST_F(BusRemoteControlTest, theShellVerbsReachIt) {
    const auto nimbe = [this](const char* verb) {
        return whileServing([verb] { return Process::run({NIMBE_EXECUTABLE, verb}, ""); });
    };
    EXPECT_EQ(nimbe("toggle").error, "nimbe toggle: Nimbe is not running.\n");
    ASSERT_EQ(control->takeName(), Name::owned);
    control->serve(handlers());
    EXPECT_EQ(nimbe("toggle").exitCode, 0);
    EXPECT_EQ(nimbe("stop").exitCode, 1);
    EXPECT_EQ(nimbe("status").output, "Ready.\n");
    EXPECT_EQ(nimbe("quit").exitCode, 0);
    EXPECT_EQ(done, (std::vector<std::string>{"toggle", "stop", "quit"}));
}

TEST_F(BusRemoteControlTest, listenersHearOfEveryOtherStatusOnce) {
    ASSERT_EQ(control->takeName(), Name::owned);
    control->serve(handlers());
    const auto listener = SessionBus::connect(nullptr);
    ASSERT_TRUE(listener);
    std::vector<std::optional<RemoteStatus>> heard;
    // Its context is this thread's: it is asked below.
    const auto id = g_dbus_connection_signal_subscribe(
        listener->get(), remote::busName, remote::interfaceName, remote::statusChanged,
        remote::objectPath, nullptr, G_DBUS_SIGNAL_FLAGS_NONE,
        [](GDBusConnection*, const char*, const char*, const char*, const char*,
            GVariant* arguments, gpointer into) {
            const GVariantPointer status(g_variant_get_child_value(arguments, 0));
            static_cast<decltype(heard)*>(into)->push_back(remote::statusOf(status.get()));
        },
        &heard, nullptr);
    // The bus takes things in order: it knows of the subscription when it answers.
    const GVariantPointer ping(g_dbus_connection_call_sync(listener->get(), "org.freedesktop.DBus",
        "/", "org.freedesktop.DBus.Peer", "Ping", nullptr, nullptr, G_DBUS_CALL_FLAGS_NONE, 5000,
        nullptr, nullptr));
    const RemoteStatus recording{"recording", std::nullopt, "Editor"};
    const RemoteStatus finished{"done", "Pasted into Editor", "Editor"};
    for (const auto& next : {RemoteStatus{"idle"}, recording, recording, finished}) {
        status = next;
        control->statusChanged();
    }
    for (int i = 0; i < 1000 && heard.size() < 3; ++i) {
        while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    EXPECT_EQ(heard,
        (std::vector<std::optional<RemoteStatus>>{RemoteStatus{"idle"}, recording, finished}));
    g_dbus_connection_signal_unsubscribe(listener->get(), id);
    while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
    }
}

TEST_F(BusRemoteControlTest, theProgramOutlivesItsBus) {
    PrivateBus bus;
    WakingLog waking(loop);
    BusRemoteControl ours(loop, waking);
    ASSERT_EQ(ours.takeName(), Name::owned) << waking.kept.all();
    ours.serve(handlers());
    bus.kill();
    loop.run(); // until it is logged
    EXPECT_TRUE(waking.kept.has(LogLevel::warning, "the session bus has gone"));
    status = {"recording"};
    ours.statusChanged();
}

TEST_F(BusRemoteControlTest, aBusThatHangsIsNone) {
    const HungBus bus;
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(control->takeName(), Name::noBus);
    EXPECT_LT(since(begin), 10);
    control->statusChanged();
    BusRemoteClient client;
    const auto answer = client.activate();
    ASSERT_FALSE(answer);
    EXPECT_EQ(answer.error().kind, Kind::noBus);
    EXPECT_LT(since(begin), 20);
}

TEST(BusRemoteClient, tellsApartWhyThereIsNoAnswer) {
    BusRemoteClient client;
    const auto kind = [&] {
        return client.ask(Command::toggle).error().kind;
    };
    EXPECT_EQ(kind(), Kind::notRunning);
    {
        PrivateBus bus;
        EXPECT_EQ(kind(), Kind::notRunning);
        bus.kill();
        EXPECT_EQ(kind(), Kind::noBus);
    }
    constexpr const char* other = "<node><interface name='com.nimbehq.Nimbe1'>"
                                  "<method name='Toggle'><arg type='s' direction='out'/></method>"
                                  "<method name='Status'><arg type='a{sv}' direction='out'/>"
                                  "</method></interface></node>";
    std::array<std::promise<void>, 2> silences;
    std::atomic<std::size_t> silence = silences.size(); // which one comes next, if any
    BusService service(remote::busName, other, [&](const auto&, GDBusMethodInvocation* call) {
        const std::string method = g_dbus_method_invocation_get_method_name(call);
        if (method == "Status")
            g_dbus_method_invocation_return_value(call, g_variant_new_parsed("({'x': <1>},)"));
        else if (silence < silences.size())
            silences.at(silence).set_value(); // no answer
        else
            g_dbus_method_invocation_return_value(call, g_variant_new("(s)", "yes"));
    });
    service.addObject(remote::objectPath);
    EXPECT_EQ(kind(), Kind::failed) << "an answer of another type";
    EXPECT_EQ(client.status().error().kind, Kind::failed) << "no phase";
    EXPECT_EQ(client.quit().error().kind, Kind::failed) << "no such method";

    silence = 0;
    const auto begin = std::chrono::steady_clock::now();
    auto asking = std::async(std::launch::async, kind);
    silences[0].get_future().get();
    EXPECT_EQ(asking.get(), Kind::noAnswer);
    EXPECT_GT(since(begin), 1.5);
    EXPECT_LT(since(begin), 10) << "the bus library itself waits for 25 s";

    silence = 1;
    asking = std::async(std::launch::async, kind);
    silences[1].get_future().get();
    const auto vanished = std::chrono::steady_clock::now();
    service.vanish();
    EXPECT_EQ(asking.get(), Kind::noAnswer) << "it ended in the middle of the call";
    EXPECT_LT(since(vanished), 1.5) << "and nobody waits for it";
}

} // namespace nimbe
