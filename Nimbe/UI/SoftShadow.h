#pragma once

#include <QtGui/QColor>
#include <QtGui/QImage>
#include <QtQuick/QQuickPaintedItem>

namespace nimbe {

/// The shadow of a rounded rectangle that is smaller than the item by `blur` on each
/// side. Painted from one small picture, as the software renderer has no effects.
class SoftShadow : public QQuickPaintedItem {
    Q_OBJECT
    Q_PROPERTY(qreal radius MEMBER radius NOTIFY changed)
    Q_PROPERTY(qreal blur MEMBER blur NOTIFY changed)
    Q_PROPERTY(QColor color MEMBER color NOTIFY changed)

public:
    explicit SoftShadow(QQuickItem* parent = nullptr);
    void paint(QPainter* painter) override;

Q_SIGNALS:
    void changed();

private:
    qreal radius = 12;
    qreal blur = 16;
    QColor color = QColor(0, 0, 0, 70);
    QImage corners; // of the smallest such rectangle; empty: to be made

    void makeCorners();
};

} // namespace nimbe
