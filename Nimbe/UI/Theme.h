#pragma once

#include <QtCore/QObject>
#include <QtGui/QColor>

#include "Foundation/UserDefaults.h"
#include "NimbeApp/DesktopSurroundings.h"

namespace nimbe {

/// The colours, type faces and pace of all that is drawn. Dark or light as the desktop
/// says, else as its palette has it; one accent colour.
class Theme : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool dark READ isDark NOTIFY changed)
    Q_PROPERTY(bool reducesMotion READ reducesMotion NOTIFY changed)
    Q_PROPERTY(QString display READ display CONSTANT)
    Q_PROPERTY(QString text READ text CONSTANT)
    Q_PROPERTY(QColor accent READ accent NOTIFY changed)
    Q_PROPERTY(QColor onAccent READ onAccent NOTIFY changed)
    Q_PROPERTY(QColor accentSoft READ accentSoft NOTIFY changed)
    Q_PROPERTY(QColor background READ background NOTIFY changed)
    Q_PROPERTY(QColor surface READ surface NOTIFY changed)
    Q_PROPERTY(QColor sunken READ sunken NOTIFY changed)
    Q_PROPERTY(QColor ink READ ink NOTIFY changed)
    Q_PROPERTY(QColor quiet READ quiet NOTIFY changed)
    Q_PROPERTY(QColor faint READ faint NOTIFY changed)
    Q_PROPERTY(QColor hairline READ hairline NOTIFY changed)
    Q_PROPERTY(QColor pill READ pill NOTIFY changed)
    Q_PROPERTY(QColor shadow READ shadow NOTIFY changed)

public:
    Theme(DesktopSurroundings& surroundings, UserDefaults& defaults);

    [[nodiscard]] bool isDark() const { return dark; }
    /// The user's own setting, or the desktop's.
    [[nodiscard]] bool reducesMotion() const { return still; }
    [[nodiscard]] static QString display() { return QStringLiteral("Newsreader"); }
    [[nodiscard]] static QString text() { return QStringLiteral("Mulish"); }

    [[nodiscard]] QColor accent() const { return pick("#0f7a66", "#63d3b5"); }
    [[nodiscard]] QColor onAccent() const { return pick("#ffffff", "#0c231d"); }
    [[nodiscard]] QColor accentSoft() const { return pick("#e2efea", "#203630"); }
    [[nodiscard]] QColor background() const { return pick("#faf8f4", "#191a1b"); }
    [[nodiscard]] QColor surface() const { return pick("#ffffff", "#222425"); }
    [[nodiscard]] QColor sunken() const { return pick("#f1eee7", "#2a2c2d"); }
    [[nodiscard]] QColor ink() const { return pick("#22201c", "#f0eee9"); }
    [[nodiscard]] QColor quiet() const { return pick("#68635a", "#a9a69f"); }
    [[nodiscard]] QColor faint() const { return pick("#c9c3b7", "#55575a"); }
    [[nodiscard]] QColor hairline() const { return pick("#e7e2d8", "#323536"); }
    [[nodiscard]] QColor pill() const { return pick("#fdfcfa", "#1d1f20"); }
    [[nodiscard]] QColor shadow() const { return pick("#3a2e1d14", "#8c000000"); }

    /// A setting has changed.
    void refresh();

Q_SIGNALS:
    void changed();

private:
    DesktopSurroundings& surroundings;
    UserDefaults& defaults;
    bool dark = false;
    bool still = false;
    Token darkness;
    Token motion;

    [[nodiscard]] QColor pick(const char* light, const char* darkOne) const {
        return {QLatin1String(dark ? darkOne : light)};
    }
};

} // namespace nimbe
