#include "NimbeUI/Symbol.h"

#include <QtGui/QPainter>
#include <QtGui/QPainterPath>
#include <array>
#include <string_view>

#include "NimbeUI/QtText.h"

namespace nimbe {
namespace {

// All are drawn on a grid of 24 by 24.
constexpr qreal grid = 24;

QPen line(const QColor& color, qreal width) {
    return {color, width, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin};
}

void stroke(QPainter& painter, const QColor& color, qreal width, const QPainterPath& path) {
    painter.strokePath(path, line(color, width));
}

QPainterPath polyline(std::initializer_list<QPointF> points) {
    QPainterPath path(*points.begin());
    for (const auto& point : points) path.lineTo(point);
    return path;
}

/// A shape with another one cut out of it.
void fillWithout(QPainter& painter, const QColor& color, const QPainterPath& shape,
    const QPainterPath& hole, qreal width) {
    QPainterPathStroker stroker(line(Qt::black, width));
    painter.fillPath(shape.subtracted(stroker.createStroke(hole)), color);
}

QPainterPath disc(qreal radius = 10) {
    QPainterPath path;
    path.addEllipse(QPointF(12, 12), radius, radius);
    return path;
}

QPainterPath roundedTriangle() {
    QPainterPath path(QPointF(12, 4.6));
    path.lineTo(20.6, 19.4);
    path.lineTo(3.4, 19.4);
    path.closeSubpath();
    QPainterPathStroker rounding(line(Qt::black, 3.2));
    return path.united(rounding.createStroke(path)).simplified();
}

QPainterPath rounded(qreal x, qreal y, qreal width, qreal height, qreal radius) {
    QPainterPath path;
    path.addRoundedRect(QRectF(x, y, width, height), radius, radius);
    return path;
}

void checkmarkCircle(QPainter& painter, const QColor& color) {
    fillWithout(painter, color, disc(), polyline({{7.6, 12.5}, {10.7, 15.5}, {16.4, 8.9}}), 2.1);
}

void exclamationTriangle(QPainter& painter, const QColor& color) {
    QPainterPath mark = polyline({{12, 9.2}, {12, 13.6}});
    QPainterPathStroker stroker(line(Qt::black, 2.1));
    QPainterPath dot;
    dot.addEllipse(QPointF(12, 17.1), 1.25, 1.25);
    painter.fillPath(
        roundedTriangle().subtracted(stroker.createStroke(mark)).subtracted(dot), color);
}

void arrowDownCircle(QPainter& painter, const QColor& color) {
    QPainterPath arrow = polyline({{12, 7}, {12, 16.6}});
    arrow.addPath(polyline({{8, 12.8}, {12, 16.8}, {16, 12.8}}));
    fillWithout(painter, color, disc(), arrow, 2.0);
}

void magnifier(QPainter& painter, const QColor& color) {
    QPainterPath path;
    path.addEllipse(QPointF(10.6, 10.6), 6, 6);
    path.addPath(polyline({{15.2, 15.2}, {19.8, 19.8}}));
    stroke(painter, color, 1.8, path);
}

void copySheets(QPainter& painter, const QColor& color) {
    QPainterPath back = polyline({{15.4, 5.2}, {15.4, 5.2}});
    back = QPainterPath(QPointF(5.6, 15.6));
    back.quadTo(4, 15.6, 4, 14);
    back.lineTo(4, 6);
    back.quadTo(4, 4, 6, 4);
    back.lineTo(14, 4);
    back.quadTo(15.6, 4, 15.6, 5.6);
    stroke(painter, color, 1.7, back);
    stroke(painter, color, 1.7, rounded(8.2, 8.2, 11.8, 11.8, 2.4));
}

void archiveBox(QPainter& painter, const QColor& color) {
    const auto lid = rounded(3, 4.2, 18, 4.6, 1.4);
    const auto box = rounded(4.4, 10.2, 15.2, 10.2, 2);
    painter.fillPath(lid, color);
    fillWithout(painter, color, box, polyline({{9.8, 13.6}, {14.2, 13.6}}), 1.8);
}

void trashCan(QPainter& painter, const QColor& color) {
    QPainterPath path = polyline({{4.4, 6.4}, {19.6, 6.4}});
    path.addPath(polyline({{9.2, 6.2}, {9.8, 3.9}, {14.2, 3.9}, {14.8, 6.2}}));
    QPainterPath can(QPointF(6.2, 6.6));
    can.lineTo(7, 18.6);
    can.quadTo(7.1, 20.3, 8.8, 20.3);
    can.lineTo(15.2, 20.3);
    can.quadTo(16.9, 20.3, 17, 18.6);
    can.lineTo(17.8, 6.6);
    path.addPath(can);
    path.addPath(polyline({{10.2, 10.4}, {10.4, 16.4}}));
    path.addPath(polyline({{13.8, 10.4}, {13.6, 16.4}}));
    stroke(painter, color, 1.6, path);
}

void cross(QPainter& painter, const QColor& color) {
    QPainterPath path = polyline({{6.6, 6.6}, {17.4, 17.4}});
    path.addPath(polyline({{17.4, 6.6}, {6.6, 17.4}}));
    stroke(painter, color, 1.9, path);
}

void chevronDown(QPainter& painter, const QColor& color) {
    stroke(painter, color, 1.9, polyline({{6.5, 9.5}, {12, 15}, {17.5, 9.5}}));
}

void chevronLeft(QPainter& painter, const QColor& color) {
    stroke(painter, color, 1.9, polyline({{14.6, 5.8}, {8.4, 12}, {14.6, 18.2}}));
}

void check(QPainter& painter, const QColor& color) {
    stroke(painter, color, 2.1, polyline({{5.6, 12.6}, {10, 17}, {18.6, 7.4}}));
}

/// Two sliders: what there is to adjust.
void sliders(QPainter& painter, const QColor& color) {
    QPainterPath path = polyline({{4, 8}, {12.2, 8}});
    path.addPath(polyline({{17.8, 8}, {20, 8}}));
    path.addPath(polyline({{4, 16}, {6.2, 16}}));
    path.addPath(polyline({{11.8, 16}, {20, 16}}));
    path.addEllipse(QPointF(15, 8), 2.7, 2.7);
    path.addEllipse(QPointF(9, 16), 2.7, 2.7);
    stroke(painter, color, 1.7, path);
}

/// Three bars of a voice in a circle that is drawn with one stroke: the program's mark.
void waveform(QPainter& painter, const QColor& color) {
    QPainterPath path = polyline({{4, 10.2}, {4, 13.8}});
    path.addPath(polyline({{8, 7.4}, {8, 16.6}}));
    path.addPath(polyline({{12, 4}, {12, 20}}));
    path.addPath(polyline({{16, 8.2}, {16, 15.8}}));
    path.addPath(polyline({{20, 10.6}, {20, 13.4}}));
    stroke(painter, color, 2.2, path);
}

void microphone(QPainter& painter, const QColor& color) {
    painter.fillPath(rounded(8.6, 3, 6.8, 11.4, 3.4), color);
    QPainterPath path(QPointF(5.4, 11.4));
    path.cubicTo(5.4, 20.2, 18.6, 20.2, 18.6, 11.4);
    path.addPath(polyline({{12, 18.2}, {12, 21}}));
    stroke(painter, color, 1.8, path);
}

void checkmarkRing(QPainter& painter, const QColor& color) {
    QPainterPath path = disc(8.4);
    path.addPath(polyline({{8.2, 12.4}, {10.9, 15}, {15.9, 9.3}}));
    stroke(painter, color, 1.7, path);
}

/// Two arrows, from the corners to the middle.
void inward(QPainter& painter, const QColor& color) {
    QPainterPath path = polyline({{4.4, 4.4}, {10.2, 10.2}});
    path.addPath(polyline({{5.2, 10.4}, {10.4, 10.4}, {10.4, 5.2}}));
    path.addPath(polyline({{19.6, 19.6}, {13.8, 13.8}}));
    path.addPath(polyline({{18.8, 13.6}, {13.6, 13.6}, {13.6, 18.8}}));
    stroke(painter, color, 1.7, path);
}

void envelope(QPainter& painter, const QColor& color) {
    QPainterPath path = rounded(3.4, 5.6, 17.2, 12.8, 2.4);
    path.addPath(polyline({{4.4, 7.2}, {12, 13.2}, {19.6, 7.2}}));
    stroke(painter, color, 1.7, path);
}

void bulletList(QPainter& painter, const QColor& color) {
    QPainterPath lines;
    for (const qreal y : {6.4, 12.0, 17.6}) {
        QPainterPath dot;
        dot.addEllipse(QPointF(5, y), 1.5, 1.5);
        painter.fillPath(dot, color);
        lines.addPath(polyline({{9.6, y}, {20, y}}));
    }
    stroke(painter, color, 1.8, lines);
}

/// A star whose four points are drawn out.
QPainterPath sparkle(QPointF middle, qreal reach) {
    const qreal waist = reach * 0.22;
    const auto at = [&](qreal x, qreal y) {
        return middle + QPointF(x, y);
    };
    QPainterPath path(at(0, -reach));
    path.quadTo(at(waist, -waist), at(reach, 0));
    path.quadTo(at(waist, waist), at(0, reach));
    path.quadTo(at(-waist, waist), at(-reach, 0));
    path.quadTo(at(-waist, -waist), at(0, -reach));
    return path;
}

void wandAndStars(QPainter& painter, const QColor& color) {
    QPainterPath wand = polyline({{4.6, 19.4}, {13.4, 10.6}});
    stroke(painter, color, 2.2, wand);
    painter.fillPath(sparkle({17, 7}, 4.4), color);
    painter.fillPath(sparkle({8.2, 7.2}, 2.8), color);
    painter.fillPath(sparkle({17.6, 16.8}, 2.8), color);
}

void pencil(QPainter& painter, const QColor& color) {
    QPainterPath path(QPointF(4.4, 19.6));
    path.lineTo(5.4, 15.2);
    path.lineTo(15.8, 4.8);
    path.quadTo(17, 3.6, 18.2, 4.8);
    path.lineTo(19.2, 5.8);
    path.quadTo(20.4, 7, 19.2, 8.2);
    path.lineTo(8.8, 18.6);
    path.closeSubpath();
    path.addPath(polyline({{13.6, 7}, {17, 10.4}}));
    stroke(painter, color, 1.7, path);
}

void arrowBack(QPainter& painter, const QColor& color) {
    QPainterPath path(QPointF(5, 9.2));
    path.lineTo(14.4, 9.2);
    path.cubicTo(21.6, 9.2, 21.6, 18.8, 14.4, 18.8);
    path.lineTo(9.4, 18.8);
    path.addPath(polyline({{8.8, 5.2}, {4.8, 9.2}, {8.8, 13.2}}));
    stroke(painter, color, 1.8, path);
}

void arrowUp(QPainter& painter, const QColor& color) {
    QPainterPath path = polyline({{12, 18.6}, {12, 5.8}});
    path.addPath(polyline({{6.6, 11.2}, {12, 5.6}, {17.4, 11.2}}));
    stroke(painter, color, 2.1, path);
}

struct Drawing {
    std::string_view name;
    void (*draw)(QPainter&, const QColor&);
};
constexpr std::array drawings{Drawing{"checkmark.circle.fill", checkmarkCircle},
    Drawing{"exclamationmark.triangle.fill", exclamationTriangle},
    Drawing{"arrow.down.circle.fill", arrowDownCircle}, Drawing{"magnifyingglass", magnifier},
    Drawing{"archivebox.fill", archiveBox}, Drawing{"doc.on.doc", copySheets},
    Drawing{"trash", trashCan}, Drawing{"xmark", cross}, Drawing{"chevron.down", chevronDown},
    Drawing{"chevron.left", chevronLeft}, Drawing{"checkmark", check},
    Drawing{"slider.horizontal", sliders}, Drawing{"waveform", waveform},
    Drawing{"mic.fill", microphone}, Drawing{"checkmark.circle", checkmarkRing},
    Drawing{"arrow.down.right.and.arrow.up.left", inward}, Drawing{"envelope", envelope},
    Drawing{"list.bullet", bulletList}, Drawing{"wand.and.stars", wandAndStars},
    Drawing{"pencil", pencil}, Drawing{"arrow.uturn.backward", arrowBack},
    Drawing{"arrow.up", arrowUp}};

} // namespace

bool paintSymbol(QPainter& painter, const QString& name, qreal size, const QColor& color) {
    const auto wanted = utf8(name);
    for (const auto& drawing : drawings) {
        if (drawing.name != wanted) continue;
        painter.save();
        painter.setRenderHint(QPainter::Antialiasing);
        painter.scale(size / grid, size / grid);
        drawing.draw(painter, color);
        painter.restore();
        return true;
    }
    return false;
}

SymbolItem::SymbolItem(QQuickItem* parent) : QQuickPaintedItem(parent) {
    setImplicitSize(grid, grid);
}

void SymbolItem::setName(const QString& name) {
    if (name == symbolName) return;
    symbolName = name;
    emit changed();
    update();
}

void SymbolItem::setColor(const QColor& color) {
    if (color == ink) return;
    ink = color;
    emit changed();
    update();
}

void SymbolItem::paint(QPainter* painter) {
    paintSymbol(*painter, symbolName, qMin(width(), height()), ink);
}

} // namespace nimbe
