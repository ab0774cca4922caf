#include <QtCore/QCoreApplication>

#include <gtest/gtest.h>

#include "DesktopApplication.h"
#include "PlatformQt/QtSurroundings.h"
#include "QtPatience.h"
#include "Support/BusService.h"

namespace nimbe {
namespace {

constexpr const char* portalInterface = R"(<node>
  <interface name="org.freedesktop.portal.Settings">
    <method name="Read">
      <arg type="s" direction="in"/><arg type="s" direction="in"/><arg type="v" direction="out"/>
    </method>
    <signal name="SettingChanged"><arg type="s"/><arg type="s"/><arg type="v"/></signal>
  </interface>
</node>)";
constexpr const char* portalPath = "/org/freedesktop/portal/desktop";

/// Answers with what is set, wrapped in two variants as the real one does; an error for
/// the rest, or nothing at all.
class Portal {
public:
    using Settings = std::map<std::string, GVariant*>;

    explicit Portal(Settings settings, bool isHung = false)
        : settings(std::move(settings)), isHung(isHung) {
        for (const auto& [key, value] : this->settings) g_variant_ref_sink(value);
        service.addObject(portalPath);
    }
    ~Portal() {
        for (const auto& [key, value] : settings) g_variant_unref(value);
    }
    Portal(const Portal&) = delete;
    Portal& operator=(const Portal&) = delete;

    void change(const char* space, const char* key, GVariant* value) {
        service.emit(portalPath, "org.freedesktop.portal.Settings", "SettingChanged",
            g_variant_new("(ssv)", space, key, value));
    }

private:
    Settings settings;
    bool isHung;
    BusService service{"org.freedesktop.portal.Desktop", portalInterface,
        [this](const std::string& /*path*/, GDBusMethodInvocation* invocation) {
            if (isHung) return;
            const char* space = nullptr;
            const char* key = nullptr;
            g_variant_get(
                g_dbus_method_invocation_get_parameters(invocation), "(&s&s)", &space, &key);
            const auto found = settings.find(key);
            if (found == settings.end())
                g_dbus_method_invocation_return_dbus_error(
                    invocation, "org.freedesktop.portal.Error.NotFound", "not found");
            else
                g_dbus_method_invocation_return_value(
                    invocation, g_variant_new("(v)", g_variant_new_variant(found->second)));
        }};
};

struct SurroundingsTest : testing::Test {
    DesktopSurroundings surroundings;
    std::optional<QtSurroundings> watching;

    [[nodiscard]] std::optional<bool> prefersDark() const {
        return surroundings._prefersDark.get();
    }
};

} // namespace

TEST_F(SurroundingsTest, whatThePortalSays) {
    struct Case {
        const char* why;
        Portal::Settings settings;
        std::optional<bool> prefersDark;
        bool reducesMotion;
    };
    const Case cases[] = {
        {"dark", {{"color-scheme", g_variant_new_uint32(1)}}, true, false},
        {"light", {{"color-scheme", g_variant_new_uint32(2)}}, false, false},
        {"a scheme of the future, and GNOME without animations",
            {{"color-scheme", g_variant_new_uint32(7)},
                {"enable-animations", g_variant_new_boolean(FALSE)}},
            std::nullopt, true},
        {"KDE's, a text",
            {{"color-scheme", g_variant_new_uint32(1)},
                {"AnimationDurationFactor", g_variant_new_string("0")}},
            true, true},
        {"KDE's, slowly",
            {{"color-scheme", g_variant_new_uint32(1)},
                {"AnimationDurationFactor", g_variant_new_string("0.5")}},
            true, false},
        {"what is no number",
            {{"color-scheme", g_variant_new_uint32(1)},
                {"AnimationDurationFactor", g_variant_new_string("fast")}},
            true, false},
    };
    for (const auto& c : cases) {
        const Portal portal(c.settings);
        watching.emplace(surroundings);
        EXPECT_TRUE(until([&] {
            return prefersDark() == c.prefersDark &&
                   surroundings._reducesMotion.get() == c.reducesMotion;
        })) << c.why;
        watching.reset();
        surroundings._prefersDark.set(std::nullopt);
        surroundings._reducesMotion.set(false);
    }
}

TEST_F(SurroundingsTest, followsChanges) {
    Portal portal({{"color-scheme", g_variant_new_uint32(1)}});
    watching.emplace(surroundings);
    ASSERT_TRUE(until([&] { return prefersDark() == true; }));
    portal.change("org.freedesktop.appearance", "color-scheme", g_variant_new_uint32(2));
    EXPECT_TRUE(until([&] { return prefersDark() == false; }));
    portal.change("org.gnome.desktop.interface", "enable-animations", g_variant_new_boolean(FALSE));
    EXPECT_TRUE(until([&] { return surroundings._reducesMotion.get(); }));
    portal.change("some.other.space", "enable-animations", g_variant_new_boolean(TRUE));
    portal.change("org.freedesktop.appearance", "color-scheme", g_variant_new_uint32(0));
    EXPECT_TRUE(until([&] { return !prefersDark().has_value(); }));
    EXPECT_TRUE(surroundings._reducesMotion.get());
}

TEST_F(SurroundingsTest, neverWaitsForWhoDoesNotAnswer) {
    const Portal portal({}, true);
    QElapsedTimer clock;
    clock.start();
    watching.emplace(surroundings);
    EXPECT_LT(clock.elapsed(), 1000);
    EXPECT_TRUE(throughout(200, [&] { return !prefersDark().has_value(); }));
    watching.reset(); // with calls that are still under way
    EXPECT_TRUE(throughout(100, [] { return true; }));
}

} // namespace nimbe
