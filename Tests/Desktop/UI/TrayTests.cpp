#include <QtDBus/QDBusArgument>
#include <QtDBus/QDBusConnection>
#include <QtDBus/QDBusMessage>
#include <QtDBus/QDBusPendingCall>
#include <map>
#include <mutex>

#include <gtest/gtest.h>

#include "DesktopApplication.h"
#include "NimbeApp/AppSettings.h"
#include "NimbeEngine/Cleanup/MacCleanupPolicy.h"
#include "NimbeUI/DesktopActions.h"
#include "NimbeUI/QtText.h"
#include "NimbeUI/Tray.h"
#include "PlatformQt/QtMainActor.h"
#include "PlatformQt/QtSurroundings.h"
#include "QtPatience.h"
#include "Support/BusService.h"
#include "UIScene.h"

namespace nimbe {
namespace {

constexpr const char* watcherInterface = R"(<node>
  <interface name="org.kde.StatusNotifierWatcher">
    <method name="RegisterStatusNotifierItem"><arg type="s" direction="in"/></method>
    <method name="RegisterStatusNotifierHost"><arg type="s" direction="in"/></method>
    <property name="IsStatusNotifierHostRegistered" type="b" access="read"/>
    <property name="ProtocolVersion" type="i" access="read"/>
    <property name="RegisteredStatusNotifierItems" type="as" access="read"/>
    <signal name="StatusNotifierItemRegistered"><arg type="s"/></signal>
    <signal name="StatusNotifierHostRegistered"/>
  </interface>
</node>)";

/// A panel that shows items.
class Panel {
public:
    Panel() : service("org.kde.StatusNotifierWatcher", watcherInterface, handler()) {
        service.addObject("/StatusNotifierWatcher");
    }

    /// The bus names of the items that have come.
    [[nodiscard]] std::vector<std::string> items() {
        const std::lock_guard lock(mutex);
        return registered;
    }

private:
    std::mutex mutex;
    std::vector<std::string> registered;
    BusService service;

    BusService::Handler handler() {
        return [this](const std::string& /*path*/, GDBusMethodInvocation* invocation) {
            const std::string method = g_dbus_method_invocation_get_method_name(invocation);
            if (method == "Get") {
                g_dbus_method_invocation_return_value(
                    invocation, g_variant_new("(v)", g_variant_new_boolean(TRUE)));
                return;
            }
            if (method == "RegisterStatusNotifierItem") {
                const char* name = nullptr;
                g_variant_get(g_dbus_method_invocation_get_parameters(invocation), "(&s)", &name);
                const std::lock_guard lock(mutex);
                registered.emplace_back(name);
            }
            g_dbus_method_invocation_return_value(invocation, nullptr);
        };
    }
};

struct MenuLine {
    int id = 0;
    std::string title;
    bool isEnabled = true;
    bool isChecked = false;
    std::vector<MenuLine> children;
};

MenuLine menuLine(const QDBusArgument& argument) {
    MenuLine line;
    QVariantMap properties;
    argument.beginStructure();
    argument >> line.id >> properties;
    argument.beginArray();
    while (!argument.atEnd()) {
        QDBusVariant child;
        argument >> child;
        line.children.push_back(menuLine(child.variant().value<QDBusArgument>()));
    }
    argument.endArray();
    argument.endStructure();
    line.title = utf8(properties.value("label").toString());
    line.isEnabled = properties.value("enabled", true).toBool();
    line.isChecked = properties.value("toggle-state").toInt() == 1;
    return line;
}

struct TrayTest : testing::Test {
    QtMainActor actor;
    EngineScene below{actor};
    QtSurroundings watching{below.surroundings};
    FakeCaptureHUD hud;
    UIScene scene{below, hud};
    QDBusConnection user = QDBusConnection::connectToBus(QDBusConnection::SessionBus, "user");
    std::unique_ptr<DesktopActions> actions;
    std::unique_ptr<Tray> tray;
    int windowsWanted = 0;

    ~TrayTest() override { QDBusConnection::disconnectFromBus("user"); }

    void start() {
        (void)scene.history.append("One & two_three & four.", DictationMode::notes, Date::now());
        actions = std::make_unique<DesktopActions>(scene.services());
        QObject::connect(actions.get(), &DesktopActions::windowWanted, [this] { ++windowsWanted; });
        actions->refreshHistory();
        tray = std::make_unique<Tray>(*actions);
    }
    /// Our own process answers, hence not with a blocking call.
    QDBusMessage call(const std::string& item, const char* path, const char* interface,
        const char* method, const QVariantList& arguments) {
        auto message = QDBusMessage::createMethodCall(qtText(item), path, interface, method);
        message.setArguments(arguments);
        const auto pending = user.asyncCall(message);
        EXPECT_TRUE(until([&] { return pending.isFinished(); })) << method;
        return pending.reply();
    }
    [[nodiscard]] MenuLine menu(const std::string& item) {
        const auto reply =
            call(item, "/MenuBar", "com.canonical.dbusmenu", "GetLayout", {0, -1, QStringList{}});
        if (reply.arguments().size() != 2) {
            ADD_FAILURE() << utf8(reply.errorMessage());
            return {};
        }
        return menuLine(reply.arguments()[1].value<QDBusArgument>());
    }
    void click(const std::string& item, int id) {
        call(item, "/MenuBar", "com.canonical.dbusmenu", "Event",
            {id, "clicked", QVariant::fromValue(QDBusVariant("")), 0U});
    }
    [[nodiscard]] static const MenuLine* find(const MenuLine& line, const std::string& title) {
        if (line.title == title) return &line;
        for (const auto& child : line.children)
            if (const auto* found = find(child, title)) return found;
        return nullptr;
    }
    void choose(const std::string& item, const std::string& title) {
        const auto root = menu(item);
        const auto* line = find(root, title);
        ASSERT_NE(line, nullptr) << title;
        click(item, line->id);
    }
    [[nodiscard]] MacDictationController::Phase::Kind phase() {
        return scene.dictation->_phase.get().kind;
    }
};

} // namespace

/// One story: the toolkit decides once a process how its items are shown.
TEST_F(TrayTest, comesAndIsUsedByStatusNotifier) {
    using Kind = MacDictationController::Phase::Kind;
    start();
    EXPECT_TRUE(throughout(200, [&] { return !tray->isShown(); })) << "there is no place for it";

    auto panel = std::make_unique<Panel>();
    ASSERT_TRUE(until([&] { return !panel->items().empty(); })) << "a panel that comes later";
    const auto item = panel->items().front();
    EXPECT_TRUE(tray->isShown());

    const auto root = menu(item);
    ASSERT_NE(find(root, "Hold Alt (Option) and speak."), nullptr);
    const auto* microphone = find(root, "System Default");
    ASSERT_NE(microphone, nullptr);
    EXPECT_TRUE(microphone->isChecked);

    // As a panel shows it: one underscore marks a mnemonic, two are one.
    choose(item, "One _& two__three & four.");
    EXPECT_TRUE(until([&] { return scene.pasteboard.paste() == "One & two_three & four."; }));

    choose(item, "Start Dictation");
    ASSERT_TRUE(until([&] { return phase() == Kind::recording; }));
    ASSERT_TRUE(until([&] { return find(menu(item), "Recording hands-free.") != nullptr; }));
    choose(item, "Cancel Dictation");
    ASSERT_TRUE(until([&] { return phase() == Kind::idle; }));

    choose(item, "AI Cleanup");
    EXPECT_TRUE(until([&] { return find(menu(item), "AI Cleanup")->isChecked; }));
    EXPECT_TRUE(below.defaults.get(MacCleanupPolicy::aiCleanupEnabled));
    EXPECT_GT(scene.model.refreshed, 0) << "it is looked whether that can be done";
    scene.model.published.set({.kind = LanguageModel::Availability::Kind::noServer});
    EXPECT_TRUE(until([&] { return find(menu(item), "AI Cleanup (no model answers)"); }));

    choose(item, "Start at Login");
    EXPECT_TRUE(until([&] { return scene.loginItem.isOn; }));
    scene.loginItem.isStubborn = true;
    choose(item, "Start at Login");
    EXPECT_TRUE(until([&] { return find(menu(item), "Start at Login")->isChecked; }))
        << "the mark stands for what is";

    scene.crashes._assessment.set({true, 2, true});
    scene.updates->_available.set(UpdateManifest{"1.4", "140"});
    ASSERT_TRUE(until([&] { return find(menu(item), "Update available: 1.4") != nullptr; }));
    choose(item, "Relaunch local-only");
    ASSERT_TRUE(until([&] {
        return find(menu(item), std::string(CrashSentinelController::localOnlyNote)) != nullptr;
    }));
    choose(item, "Dismiss");
    ASSERT_TRUE(until([&] { return find(menu(item), "Dismiss") == nullptr; }));

    call(item, "/StatusNotifierItem", "org.kde.StatusNotifierItem", "Activate", {0, 0});
    EXPECT_TRUE(until([&] { return windowsWanted == 1; }));
    choose(item, "Open Nimbe…");
    EXPECT_TRUE(until([&] { return windowsWanted == 2; }));
    choose(item, "Quit Nimbe");
    EXPECT_TRUE(until([&] { return scene.quits == 1; }));

    panel.reset(); // and is started anew
    ASSERT_TRUE(until([&] { return !below.surroundings._hasStatusNotifierHost.get(); }));
    panel = std::make_unique<Panel>();
    EXPECT_TRUE(until([&] { return !panel->items().empty(); }));

    (void)below.defaults.set(AppSettings::menuBarVisible, false);
    actions->settingsChanged();
    EXPECT_TRUE(until([&] { return !tray->isShown(); }));
    (void)below.defaults.set(AppSettings::menuBarVisible, true);
    actions->settingsChanged();
    EXPECT_TRUE(until([&] { return panel->items().size() == 2; }));
}

} // namespace nimbe
