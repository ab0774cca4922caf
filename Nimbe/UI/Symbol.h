#pragma once

#include <QtCore/QString>
#include <QtGui/QColor>
#include <QtQuick/QQuickPaintedItem>

class QPainter;

namespace nimbe {

/// Draws one of the program's symbols into a square of that size, at the origin. False:
/// none has that name. The names are those by which the logic knows them, such as
/// "checkmark.circle.fill".
bool paintSymbol(QPainter& painter, const QString& name, qreal size, const QColor& color);

/// A symbol in a scene: sharp at every size and scale.
class SymbolItem : public QQuickPaintedItem {
    Q_OBJECT
    Q_PROPERTY(QString name READ name WRITE setName NOTIFY changed)
    Q_PROPERTY(QColor color READ color WRITE setColor NOTIFY changed)

public:
    explicit SymbolItem(QQuickItem* parent = nullptr);

    [[nodiscard]] QString name() const { return symbolName; }
    void setName(const QString& name);
    [[nodiscard]] QColor color() const { return ink; }
    void setColor(const QColor& color);
    void paint(QPainter* painter) override;

Q_SIGNALS:
    void changed();

private:
    QString symbolName;
    QColor ink = Qt::black;
};

} // namespace nimbe
