#include "NimbeUI/SoftShadow.h"

#include <QtGui/QPainter>
#include <array>
#include <cmath>

namespace nimbe {
namespace {

/// How far a point lies outside of a rounded rectangle around the origin; negative inside.
qreal distance(qreal x, qreal y, qreal half, qreal radius) {
    const qreal dx = std::abs(x) - (half - radius);
    const qreal dy = std::abs(y) - (half - radius);
    const qreal outside = std::hypot(std::max(dx, 0.0), std::max(dy, 0.0));
    return outside + std::min(std::max(dx, dy), 0.0) - radius;
}

} // namespace

SoftShadow::SoftShadow(QQuickItem* parent) : QQuickPaintedItem(parent) {
    connect(this, &SoftShadow::changed, this, [this] {
        corners = {};
        update();
    });
}

void SoftShadow::makeCorners() {
    const int side = static_cast<int>(std::ceil(2 * (radius + 2 * blur))) | 1;
    corners = QImage(side, side, QImage::Format_ARGB32_Premultiplied);
    const qreal half = (static_cast<qreal>(side) - 1) / 2;
    for (int y = 0; y < side; ++y) {
        for (int x = 0; x < side; ++x) {
            const qreal out = distance(x - half, y - half, half - blur, radius);
            // The edge of a blurred shape, as the error function has it.
            const qreal strength = std::erfc(out / (blur * 0.5)) / 2;
            QColor pixel = color;
            pixel.setAlphaF(static_cast<float>(color.alphaF() * strength));
            corners.setPixel(x, y, qPremultiply(pixel.rgba()));
        }
    }
}

void SoftShadow::paint(QPainter* painter) {
    if (corners.isNull()) makeCorners();
    const qreal side = corners.width();
    const qreal corner = (side - 1) / 2;
    const qreal across = std::min(corner, width() / 2);
    const qreal down = std::min(corner, height() / 2);
    const std::array<qreal, 4> toX{0, across, width() - across, width()};
    const std::array<qreal, 4> toY{0, down, height() - down, height()};
    const std::array<qreal, 4> fromX{0, across, side - across, side};
    const std::array<qreal, 4> fromY{0, down, side - down, side};
    painter->setRenderHint(QPainter::SmoothPixmapTransform);
    for (std::size_t row = 0; row < 3; ++row) {
        for (std::size_t column = 0; column < 3; ++column) {
            const QRectF to(
                toX[column], toY[row], toX[column + 1] - toX[column], toY[row + 1] - toY[row]);
            const QRectF from(fromX[column], fromY[row], fromX[column + 1] - fromX[column],
                fromY[row + 1] - fromY[row]);
            if (!to.isEmpty()) painter->drawImage(to, corners, from);
        }
    }
}

} // namespace nimbe
