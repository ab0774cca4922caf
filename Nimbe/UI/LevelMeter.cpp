#include "NimbeUI/LevelMeter.h"

#include <QtGui/QPainter>
#include <algorithm>
#include <cmath>

namespace nimbe {
namespace {

// Of a bar and the gap after it, in pixels of the interface.
constexpr qreal barWidth = 3;
constexpr qreal pitch = 5.5;

/// Speech lies between 0.4 and 0.9 of the scale, which begins at -60 dB: spread that range.
double emphasis(double level) {
    const double above = std::clamp((level - 0.25) / 0.65, 0.0, 1.0);
    return std::pow(above, 1.4);
}

} // namespace

std::vector<double> meterBars(const QList<double>& levels, int count) {
    std::vector<double> bars(static_cast<std::size_t>(std::max(count, 0)));
    if (bars.empty() || levels.empty()) return bars;
    // Two levels, 40 ms, to a bar: what it shows does not change while it moves on.
    constexpr qsizetype perBar = 2;
    qsizetype end = levels.size();
    for (auto bar = bars.rbegin(); bar != bars.rend() && end > 0; ++bar) {
        const qsizetype begin = std::max<qsizetype>(end - perBar, 0);
        for (qsizetype i = begin; i < end; ++i)
            if (std::isfinite(levels[i])) *bar = std::max(*bar, std::clamp(levels[i], 0.0, 1.0));
        end = begin;
    }
    return bars;
}

LevelMeter::LevelMeter(QQuickItem* parent) : QQuickPaintedItem(parent) {
    setAntialiasing(true);
}

void LevelMeter::setLevels(const QList<double>& levels) {
    shown = levels;
    emit changed();
    update();
}

void LevelMeter::setColor(const QColor& color) {
    ink = color;
    emit changed();
    update();
}

void LevelMeter::setRestColor(const QColor& color) {
    restInk = color;
    emit changed();
    update();
}

void LevelMeter::paint(QPainter* painter) {
    const int count = static_cast<int>((width() + pitch - barWidth) / pitch);
    const auto bars = meterBars(shown, count);
    const qreal left = (width() - (static_cast<qreal>(count) * pitch - (pitch - barWidth))) / 2;
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setPen(Qt::NoPen);
    for (std::size_t i = 0; i < bars.size(); ++i) {
        const qreal strength = emphasis(bars[i]);
        const qreal tall = barWidth + strength * (height() - barWidth);
        painter->setBrush(strength > 0.02 ? ink : restInk);
        const QRectF bar(
            left + static_cast<qreal>(i) * pitch, (height() - tall) / 2, barWidth, tall);
        painter->drawRoundedRect(bar, barWidth / 2, barWidth / 2);
    }
}

} // namespace nimbe
