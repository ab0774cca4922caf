#pragma once

#include <QtCore/QObject>
#include <memory>
#include <optional>
#include <vector>

#include "NimbeUI/DesktopActions.h"

class QAction;
class QMenu;
class QSystemTrayIcon;

namespace nimbe {

/// The item in the desktop's tray with its menu: by StatusNotifier, or by a window where a
/// tray takes those. It appears as soon as there is a place for it and the user wants it.
///
/// The toolkit decides once a process, at the first item, by which of the two it goes:
/// hence none is made before there is a place.
class Tray : public QObject {
    Q_OBJECT

public:
    explicit Tray(DesktopActions& actions);
    ~Tray() override;

    [[nodiscard]] bool isShown() const { return item != nullptr; }

private:
    DesktopActions& actions;
    std::unique_ptr<QMenu> menu;
    std::unique_ptr<QSystemTrayIcon> item;
    std::vector<TrayMenu::Item> shown;
    std::optional<bool> isByBus; // as the toolkit has decided
    bool isStale = false;        // the toolkit has changed what is shown
    std::optional<TrayMenu::Icon> icon;
    Token host;
    Token window;

    void update();
    void placeChanged();
    void fill(QMenu& target, const std::vector<TrayMenu::Item>& items);
    void refill(QMenu& target, const std::vector<TrayMenu::Item>& items);
    void dress(QAction& action, const TrayMenu::Item& item);
};

} // namespace nimbe
