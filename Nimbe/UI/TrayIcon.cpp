#include "NimbeUI/TrayIcon.h"

#include <QtGui/QPainter>
#include <QtGui/QPainterPath>
#include <QtGui/QPixmap>
#include <array>

#include "NimbeUI/Symbol.h"

namespace nimbe {
namespace {

// Of panels at usual scales.
constexpr std::array sizes{16, 22, 24, 32, 44, 48, 64};

const QColor accent("#14866f");
const QColor resting("#6d7775"); // 3:1 and more against black and against white

/// Bars of a voice, on a grid of 16, so that they fall on whole pixels at 16.
void bars(QPainter& painter, const QColor& color, std::initializer_list<QRectF> shapes) {
    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
    for (const auto& shape : shapes) painter.drawRoundedRect(shape, 1, 1);
}

void disc(QPainter& painter, const QColor& color) {
    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
    painter.drawEllipse(QRectF(0.5, 0.5, 15, 15));
}

void draw(QPainter& painter, TrayMenu::Icon icon) {
    switch (icon) {
    case TrayMenu::Icon::idle:
        disc(painter, resting);
        bars(painter, Qt::white, {{4, 6, 2, 4}, {7, 4, 2, 8}, {10, 6, 2, 4}});
        return;
    case TrayMenu::Icon::recording:
        disc(painter, accent);
        bars(painter, Qt::white,
            {{3, 6, 2, 4}, {5.7, 3.5, 2, 9}, {8.4, 2.5, 2, 11}, {11.1, 5, 2, 6}});
        return;
    case TrayMenu::Icon::working:
        disc(painter, accent);
        bars(painter, Qt::white, {{3.5, 7, 2, 2}, {7, 7, 2, 2}, {10.5, 7, 2, 2}});
        return;
    case TrayMenu::Icon::problem:
        // The mark is filled, so that no panel shines through.
        bars(painter, Qt::white, {{7, 5, 2, 9}});
        paintSymbol(painter, "exclamationmark.triangle.fill", 16, resting);
        return;
    }
}

} // namespace

QIcon trayIcon(TrayMenu::Icon icon) {
    QIcon result;
    for (const int size : sizes) {
        QPixmap pixmap(size, size);
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.scale(size / 16.0, size / 16.0);
        draw(painter, icon);
        result.addPixmap(pixmap);
    }
    return result;
}

QIcon applicationIcon() {
    QIcon result;
    for (const int size : {16, 32, 48, 64, 128, 256}) {
        QPixmap pixmap(size, size);
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.scale(size / 64.0, size / 64.0);
        painter.setPen(Qt::NoPen);
        QLinearGradient light(0, 4, 0, 60);
        light.setColorAt(0, QColor("#1b9a81"));
        light.setColorAt(1, QColor("#0c6554"));
        painter.setBrush(light);
        painter.drawRoundedRect(QRectF(4, 4, 56, 56), 15, 15);
        painter.translate(14, 14);
        paintSymbol(painter, "waveform", 36, Qt::white);
        result.addPixmap(pixmap);
    }
    return result;
}

} // namespace nimbe
