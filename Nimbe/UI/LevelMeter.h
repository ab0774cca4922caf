#pragma once

#include <QtCore/QList>
#include <QtGui/QColor>
#include <QtQuick/QQuickPaintedItem>
#include <vector>

namespace nimbe {

/// The heights of a meter's bars, 0 to 1, the newest last: the loudest of the levels that
/// fall to each. Fewer levels than there is room for stand at the end.
[[nodiscard]] std::vector<double> meterBars(const QList<double>& levels, int count);

/// How loud the last two seconds were, as a row of bars that moves to the left. Draws when
/// it is given levels, and not otherwise.
class LevelMeter : public QQuickPaintedItem {
    Q_OBJECT
    Q_PROPERTY(QList<double> levels READ levels WRITE setLevels NOTIFY changed)
    Q_PROPERTY(QColor color READ color WRITE setColor NOTIFY changed)
    Q_PROPERTY(QColor restColor READ restColor WRITE setRestColor NOTIFY changed)

public:
    explicit LevelMeter(QQuickItem* parent = nullptr);

    [[nodiscard]] QList<double> levels() const { return shown; }
    void setLevels(const QList<double>& levels);
    [[nodiscard]] QColor color() const { return ink; }
    void setColor(const QColor& color);
    [[nodiscard]] QColor restColor() const { return restInk; } // of bars without sound
    void setRestColor(const QColor& color);
    void paint(QPainter* painter) override;

Q_SIGNALS:
    void changed();

private:
    QList<double> shown;
    QColor ink = Qt::black;
    QColor restInk = Qt::gray;
};

} // namespace nimbe
