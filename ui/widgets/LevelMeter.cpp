#include "ui/widgets/LevelMeter.h"

#include "ui/Appearance.h"

#include <QPainter>
#include <algorithm>
#include <cmath>
#include <utility>

namespace tavik {

namespace {

constexpr int bars = 24;
constexpr int frameTime = 33; // milliseconds
constexpr double fall = 0.85;

constexpr double quietest = -50; // decibels
constexpr double range = 40;

} // namespace

double meterLevel(float amplitude) {
    const double decibels = 20 * std::log10(std::max(amplitude, 1e-5F));
    return std::clamp((decibels - quietest) / range, 0.0, 1.0);
}

LevelMeter::LevelMeter(std::function<float()> ask)
    : amplitude(std::move(ask)) {
    setAccessibleName("Microphone level");
    setFixedHeight(sizeHint().height());
}

void LevelMeter::showEvent(QShowEvent*) {
    frames.start(frameTime, this);
}

void LevelMeter::hideEvent(QHideEvent*) {
    frames.stop();
}

void LevelMeter::timerEvent(QTimerEvent*) {
    const double before = level;
    level = std::max(meterLevel(amplitude()), level * fall);
    if (std::abs(level - before) > 0.002)
        update();
}

void LevelMeter::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    const double pitch = width() / double(bars);
    for (int bar = 0; bar < bars; ++bar) {
        const bool isLit = level * bars > bar + 0.5;
        painter.setBrush(isLit ? accentColour() : palette().color(QPalette::Mid));
        painter.drawRoundedRect(QRectF(bar * pitch + 1.5, 3, pitch - 3, height() - 6), 2.5, 2.5);
    }
}

} // namespace tavik
