#include <atomic>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <thread>

#include <gtest/gtest.h>

#include "Fakes/FakeLogSink.h"
#include "Foundation/RunLoop.h"
#include "PlatformSecrets/KeyringUnlock.h"
#include "Support/BusService.h"

// On a session bus without a keyring: run by scripts/desktop-session. The keyring here is
// the tests' own, since nobody is there to answer a real one's prompt.

namespace nimbe {
namespace {

using Outcome = KeyringUnlock::Outcome;

constexpr const char* introspection = R"(<node>
  <interface name='org.freedesktop.Secret.Service'>
    <method name='ReadAlias'><arg type='s' direction='in'/><arg type='o' direction='out'/></method>
    <method name='Unlock'><arg type='ao' direction='in'/><arg type='ao' direction='out'/>
      <arg type='o' direction='out'/></method>
  </interface>
  <interface name='org.freedesktop.DBus.Properties'>
    <method name='Get'><arg type='s' direction='in'/><arg type='s' direction='in'/>
      <arg type='v' direction='out'/></method>
  </interface>
  <interface name='org.freedesktop.Secret.Prompt'>
    <method name='Prompt'><arg type='s' direction='in'/></method><method name='Dismiss'/>
  </interface>
</node>)";

/// A Secret Service whose keyring is locked, and a user.
class LockedKeyring {
public:
    enum class User { unlocks, closes, isAway };

    explicit LockedKeyring(User user) : user(user) {
        service.addObject("/org/freedesktop/secrets", 0);
        service.addObject(keyringPath, 1);
        service.addObject(promptPath, 2);
    }

    const char* alias = keyringPath;
    bool needsPrompt = true;
    bool saysUnlocked = false; // and is not
    bool isSilent = false;
    std::atomic<bool> isLocked = true;
    std::atomic<int> prompts = 0;
    std::atomic<int> dismissals = 0;

    /// On its thread, from now on.
    void onPrompt(std::function<void()> job) {
        const std::lock_guard guard(mutex);
        prompted = std::move(job);
    }

    void vanish() { service.vanish(); }

private:
    static constexpr const char* keyringPath = "/org/freedesktop/secrets/collection/login";
    static constexpr const char* promptPath = "/org/freedesktop/secrets/prompt/p1";

    User user;
    std::mutex mutex;
    std::function<void()> prompted = [] {
    };
    BusService service{
        "org.freedesktop.secrets", introspection, [this](const auto&, GDBusMethodInvocation* call) {
            answer(call);
        }};

    void answer(GDBusMethodInvocation* call) {
        const std::string method = g_dbus_method_invocation_get_method_name(call);
        const auto reply = [call](GVariant* value) {
            g_dbus_method_invocation_return_value(call, value);
        };
        if (isSilent) return;
        if (method == "ReadAlias") return reply(g_variant_new("(o)", alias));
        if (method == "Get")
            return reply(g_variant_new("(v)", g_variant_new_boolean(isLocked ? TRUE : FALSE)));
        if (method == "Unlock") {
            if (!needsPrompt) isLocked = false;
            return reply(g_variant_new("(@aoo)", g_variant_new_objv(&alias, needsPrompt ? 0 : 1),
                needsPrompt ? promptPath : "/"));
        }
        reply(nullptr);
        if (method == "Dismiss") ++dismissals;
        if (method == "Prompt") prompt();
    }

    void prompt() {
        ++prompts;
        {
            const std::lock_guard guard(mutex);
            prompted();
        }
        if (user == User::unlocks && !saysUnlocked) isLocked = false;
        if (user == User::unlocks || user == User::closes)
            service.emit(promptPath, "org.freedesktop.Secret.Prompt", "Completed",
                g_variant_new(
                    "(bv)", user == User::closes ? TRUE : FALSE, g_variant_new_objv(nullptr, 0)));
    }
};

struct KeyringUnlockTest : testing::Test {
    RunLoop loop;
    FakeLogSink log;

    [[nodiscard]] Outcome request() {
        std::optional<Outcome> outcome;
        const Token asking = KeyringUnlock::request(loop, log, [&](Outcome answer) {
            outcome = answer;
            loop.stop();
        });
        const Token watchdog = loop.schedule(20, [&] { loop.stop(); });
        loop.run();
        if (!outcome) throw std::runtime_error("no answer");
        return *outcome;
    }
};

using User = LockedKeyring::User;

} // namespace

TEST_F(KeyringUnlockTest, theUserDecides) {
    struct Case {
        const char* why;
        User user;
        Outcome outcome;
    };
    const Case cases[] = {
        {"the password is given", User::unlocks, Outcome::unlocked},
        {"the prompt is closed", User::closes, Outcome::refused},
    };
    for (const auto& c : cases) {
        LockedKeyring keyring(c.user);
        EXPECT_EQ(request(), c.outcome) << c.why;
        EXPECT_EQ(keyring.prompts, 1) << c.why;
        EXPECT_EQ(keyring.isLocked, c.outcome != Outcome::unlocked);
    }
    LockedKeyring liar(User::unlocks);
    liar.saysUnlocked = true;
    EXPECT_EQ(request(), Outcome::refused) << "the keyring itself counts";
}

TEST_F(KeyringUnlockTest, nobodyIsAskedWithoutNeed) {
    {
        LockedKeyring open(User::unlocks);
        open.isLocked = false;
        EXPECT_EQ(request(), Outcome::unnecessary);
        EXPECT_EQ(open.prompts, 0);
    }
    {
        LockedKeyring none(User::unlocks);
        none.alias = "/";
        EXPECT_EQ(request(), Outcome::unnecessary);
    }
    LockedKeyring obliging(User::isAway);
    obliging.needsPrompt = false;
    EXPECT_EQ(request(), Outcome::unlocked);
    EXPECT_EQ(obliging.prompts, 0);
}

TEST_F(KeyringUnlockTest, aServiceThatIsNotThereOrGoes) {
    EXPECT_EQ(request(), Outcome::unreachable) << "no service";
    {
        LockedKeyring silent(User::unlocks);
        silent.isSilent = true;
        EXPECT_EQ(request(), Outcome::unreachable) << "it hangs";
    }
    {
        LockedKeyring mortal(User::isAway);
        mortal.onPrompt([&] { loop.post([&] { mortal.vanish(); }); });
        EXPECT_EQ(request(), Outcome::unreachable) << "it ends while the prompt is open";
    }
    PrivateBus bus;
    LockedKeyring keyring(User::isAway);
    keyring.onPrompt([&] { bus.kill(); });
    EXPECT_EQ(request(), Outcome::unreachable) << "the bus ends";
}

TEST_F(KeyringUnlockTest, whoNoLongerWantsItTakesThePromptAway) {
    LockedKeyring keyring(User::isAway);
    keyring.onPrompt([&] { loop.stop(); });
    Token asking = KeyringUnlock::request(loop, log, [](Outcome) { FAIL() << "called"; });
    loop.run(); // until it is open
    const auto begin = loop.now();
    asking.reset();
    EXPECT_LT(loop.now() - begin, 4) << "less than the patience with the service";
    for (int i = 0; i < 200 && keyring.dismissals == 0; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_EQ(keyring.dismissals, 1);
    loop.post([&] { loop.stop(); });
    loop.run();

    // It may be answered already, and not yet told.
    keyring.isLocked = false;
    asking = KeyringUnlock::request(loop, log, [](Outcome) { FAIL() << "called"; });
    asking.reset();
    loop.post([&] { loop.stop(); });
    loop.run();

    // From within what it calls.
    asking = KeyringUnlock::request(loop, log, [&](Outcome) {
        asking.reset();
        loop.stop();
    });
    loop.run();
}

} // namespace nimbe
