#include "NimbeUI/Tray.h"

#include <QtGui/QPainter>
#include <QtWidgets/QApplication>
#include <QtWidgets/QMenu>
#include <QtWidgets/QSystemTrayIcon>

#include "NimbeUI/QtText.h"
#include "NimbeUI/Symbol.h"
#include "NimbeUI/TrayIcon.h"

namespace nimbe {
namespace {

QIcon menuIcon(const std::string& name) {
    if (name.empty()) return {};
    constexpr int size = 32;
    QPixmap pixmap(size, size);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    paintSymbol(painter, qtText(name), size, QApplication::palette().color(QPalette::Text));
    return pixmap;
}

/// Ampersands and underscores of a text are no mnemonics. In a menu by D-Bus the toolkit
/// turns the first ampersand, and only that, into the underscore that marks one there.
QString title(const std::string& text, bool isByBus) {
    QString result = qtText(text);
    if (!isByBus) return result.replace(QLatin1Char('&'), QLatin1String("&&"));
    result.replace(QLatin1Char('_'), QLatin1String("__"));
    const auto first = result.indexOf(QLatin1Char('&'));
    return first < 0 ? result : result.insert(first, QLatin1Char('&'));
}

bool haveSameShape(
    const std::vector<TrayMenu::Item>& left, const std::vector<TrayMenu::Item>& right) {
    if (left.size() != right.size()) return false;
    for (std::size_t i = 0; i < left.size(); ++i) {
        const auto& a = left[i];
        const auto& b = right[i];
        if (a.isSeparator() != b.isSeparator() || a.command != b.command ||
            a.isChecked.has_value() != b.isChecked.has_value() ||
            a.children.empty() != b.children.empty())
            return false;
    }
    return true;
}

} // namespace

Tray::Tray(DesktopActions& given) : actions(given) {
    connect(&actions, &DesktopActions::changed, this, &Tray::update);
    auto& surroundings = actions.all().surroundings;
    host = surroundings._hasStatusNotifierHost.observe([this](bool) { placeChanged(); });
    window = surroundings._hasTrayWindow.observe([this](bool) { placeChanged(); });
    update();
}

Tray::~Tray() = default;

/// An item that was made stays: the toolkit follows a panel that is started anew.
void Tray::placeChanged() {
    update();
}

void Tray::update() {
    const auto& surroundings = actions.all().surroundings;
    const bool hasPlace =
        surroundings._hasStatusNotifierHost.get() || surroundings._hasTrayWindow.get();
    if (!actions.isMenuBarVisible()) {
        item.reset();
        menu.reset();
        return;
    }
    if (!item && !hasPlace) return;
    if (!isByBus) isByBus = surroundings._hasStatusNotifierHost.get();
    const auto state = actions.state();
    auto items = TrayMenu::items(state);
    if (!menu) {
        menu = std::make_unique<QMenu>();
        connect(menu.get(), &QMenu::aboutToShow, &actions, &DesktopActions::refreshHistory);
        connect(menu.get(), &QMenu::aboutToShow, &actions, &DesktopActions::refreshModel);
        fill(*menu, items);
    } else if (isStale || items != shown) {
        refill(*menu, items);
    }
    shown = std::move(items);
    isStale = false;
    if (!item) {
        item = std::make_unique<QSystemTrayIcon>();
        item->setContextMenu(menu.get());
        icon.reset();
        connect(item.get(), &QSystemTrayIcon::activated, this,
            [this](QSystemTrayIcon::ActivationReason reason) {
                if (reason == QSystemTrayIcon::Trigger || reason == QSystemTrayIcon::DoubleClick)
                    actions.perform(TrayMenu::Command::openWindow);
            });
    }
    const bool hasBanner = state.crash && state.crash->uncleanShutdown;
    const auto wanted = TrayMenu::icon(state.phase, hasBanner);
    if (icon != wanted) {
        icon = wanted;
        item->setIcon(trayIcon(wanted));
    }
    item->setToolTip(QStringLiteral("Nimbe: ") + qtText(TrayMenu::statusLine(state)));
    if (!item->isVisible()) item->show();
}

/// What is there changes in place, so that an open menu stays open.
void Tray::refill(QMenu& target, const std::vector<TrayMenu::Item>& items) {
    if (&target == menu.get() && !haveSameShape(shown, items)) {
        target.clear();
        for (auto* submenu : target.findChildren<QMenu*>(Qt::FindDirectChildrenOnly))
            submenu->deleteLater();
        fill(target, items);
        return;
    }
    const auto current = target.actions();
    for (std::size_t i = 0; i < items.size(); ++i) {
        auto* action = current[static_cast<qsizetype>(i)];
        if (items[i].isSeparator() || (!isStale && shown[i] == items[i])) continue;
        dress(*action, items[i]);
        if (!action->menu()) continue;
        action->menu()->clear();
        fill(*action->menu(), items[i].children);
    }
}

void Tray::fill(QMenu& target, const std::vector<TrayMenu::Item>& items) {
    for (const auto& item : items) {
        if (item.isSeparator()) {
            target.addSeparator();
            continue;
        }
        if (!item.children.empty()) {
            auto* submenu = target.addMenu(title(item.title, *isByBus));
            fill(*submenu, item.children);
            continue;
        }
        auto* action = target.addAction(title(item.title, *isByBus));
        dress(*action, item);
        connect(action, &QAction::triggered, &actions,
            [this, isCheckable = item.isChecked.has_value(), command = item.command,
                argument = item.argument] {
                // The toolkit has changed the mark already; it stands for what is.
                isStale = isStale || isCheckable;
                actions.perform(command, argument);
            });
    }
}

void Tray::dress(QAction& action, const TrayMenu::Item& item) {
    action.setText(title(item.title, *isByBus));
    action.setEnabled(item.isEnabled);
    action.setIcon(menuIcon(item.symbol));
    action.setCheckable(item.isChecked.has_value());
    action.setChecked(item.isChecked.value_or(false));
}

} // namespace nimbe
