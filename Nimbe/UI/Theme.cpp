#include "NimbeUI/Theme.h"

#include <QtGui/QGuiApplication>
#include <QtGui/QPalette>

#include "NimbeApp/AppSettings.h"

namespace nimbe {

namespace {

bool isPaletteDark() {
    const QPalette palette = QGuiApplication::palette();
    return palette.color(QPalette::Window).lightness() <
           palette.color(QPalette::WindowText).lightness();
}

} // namespace

Theme::Theme(DesktopSurroundings& surroundings, UserDefaults& defaults)
    : surroundings(surroundings), defaults(defaults) {
    darkness = surroundings._prefersDark.observe([this](const auto&) { refresh(); });
    motion = surroundings._reducesMotion.observe([this](bool) { refresh(); });
    refresh();
}

void Theme::refresh() {
    dark = surroundings._prefersDark.get().value_or(isPaletteDark());
    still = defaults.get(AppSettings::reduceMotion) || surroundings._reducesMotion.get();
    emit changed();
}

} // namespace nimbe
