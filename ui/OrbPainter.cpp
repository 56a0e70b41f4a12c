#include "ui/OrbPainter.h"

#include <QConicalGradient>
#include <QPainter>
#include <QRadialGradient>
#include <algorithm>
#include <cmath>
#include <numbers>

namespace tavik {

namespace {

using Kind = TavikPhase::Kind;

struct Colours {
    QColor light;
    QColor deep;
};

Colours coloursOf(Kind phase) {
    switch (phase) {
    case Kind::listening:
        return {QColor(122, 226, 255), QColor(26, 108, 232)};
    case Kind::thinking:
        return {QColor(214, 176, 255), QColor(112, 62, 226)};
    case Kind::speaking:
        return {QColor(134, 245, 205), QColor(8, 143, 140)};
    case Kind::error:
        return {QColor(255, 186, 160), QColor(206, 58, 52)};
    default:
        return {QColor(206, 212, 226), QColor(98, 108, 132)};
    }
}

QPixmap canvas(double size, double scale) {
    QPixmap pixmap(QSize(1, 1) * std::ceil(size * scale));
    pixmap.setDevicePixelRatio(scale);
    pixmap.fill(Qt::transparent);
    return pixmap;
}

void fillCircle(QPainter& painter, QPointF middle, double radius, const QBrush& brush) {
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(brush);
    painter.drawEllipse(middle, radius, radius);
}

QColor faded(QColor colour, double opacity) {
    colour.setAlphaF(static_cast<float>(opacity));
    return colour;
}

QPixmap drawGlow(double size, double scale, const Colours& colours) {
    QPixmap pixmap = canvas(size, scale);
    QPainter painter(&pixmap);
    QRadialGradient gradient(size / 2, size / 2, size / 2);
    gradient.setColorAt(0.45, faded(colours.deep, 0.5));
    gradient.setColorAt(0.75, faded(colours.deep, 0.13));
    gradient.setColorAt(1, Qt::transparent);
    fillCircle(painter, {size / 2, size / 2}, size / 2, gradient);
    return pixmap;
}

QPixmap drawCore(double size, double scale, const Colours& colours) {
    QPixmap pixmap = canvas(size, scale);
    QPainter painter(&pixmap);
    const double radius = size / 2 - 1;
    QRadialGradient body(size * 0.36, size * 0.3, size * 0.78);
    body.setColorAt(0, colours.light.lighter(112));
    body.setColorAt(0.45, colours.light.darker(108));
    body.setColorAt(1, colours.deep);
    fillCircle(painter, {size / 2, size / 2}, radius, body);
    QRadialGradient shine(size * 0.36, size * 0.26, size * 0.3);
    shine.setColorAt(0, QColor(255, 255, 255, 190));
    shine.setColorAt(1, QColor(255, 255, 255, 0));
    fillCircle(painter, {size / 2, size / 2}, radius, shine); // no further than the orb
    return pixmap;
}

// The ring that goes round while Tavik thinks.
QPixmap drawSweep(double size, double scale, const Colours& colours) {
    QPixmap pixmap = canvas(size, scale);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    QConicalGradient gradient(size / 2, size / 2, 0);
    gradient.setColorAt(0, colours.light);
    gradient.setColorAt(0.7, faded(colours.light, 0));
    const double width = size * 0.035;
    painter.setPen(QPen(QBrush(gradient), width, Qt::SolidLine, Qt::RoundCap));
    const double inset = width;
    painter.drawEllipse(QRectF(inset, inset, size - 2 * inset, size - 2 * inset));
    return pixmap;
}

void drawRing(QPainter& painter, double radius, double opacity, const QColor& colour) {
    painter.setPen(QPen(faded(colour, opacity), 1.6));
    painter.setBrush(Qt::NoBrush);
    painter.drawEllipse(QPointF(0, 0), radius, radius);
}

// Waves that leave the orb while it speaks.
void drawWaves(QPainter& painter, double size, const OrbPainter::Frame& frame) {
    constexpr int waves = 2;
    for (int wave = 0; wave < waves; ++wave) {
        const double way = std::fmod(frame.seconds * 0.7 + wave / double(waves), 1.0);
        drawRing(painter, size * (orbCore / 2 + way * (0.48 - orbCore / 2)), 0.7 * (1 - way),
                 coloursOf(frame.phase).light);
    }
}

double breath(const OrbPainter::Frame& frame) {
    using std::numbers::pi;
    switch (frame.phase) {
    case Kind::listening:
        return 0.015 * std::sin(frame.seconds * pi) + 0.28 * frame.level;
    case Kind::speaking:
        return 0.035 * std::sin(frame.seconds * 7.3) + 0.025 * std::sin(frame.seconds * 11.1);
    case Kind::thinking:
        return 0.02 * std::sin(frame.seconds * 2 * pi);
    default:
        return 0;
    }
}

void drawCentred(QPainter& painter, const QPixmap& pixmap, double size) {
    painter.drawPixmap(QRectF(-size / 2, -size / 2, size, size), pixmap, QRectF(pixmap.rect()));
}

} // namespace

void OrbPainter::prepare(Kind phase, double size, double scale) {
    if (phase == preparedPhase && scale == preparedScale)
        return;
    const Colours colours = coloursOf(phase);
    glow = drawGlow(size, scale, colours);
    core = drawCore(size * orbCore, scale, colours);
    sweep = drawSweep(size * (orbCore + 0.16), scale, colours);
    preparedPhase = phase;
    preparedScale = scale;
}

void OrbPainter::paint(QPainter& painter, double size, double scale, const Frame& frame) {
    prepare(frame.phase, size, scale);
    const double growth = 1 + std::clamp(breath(frame), -0.1, 0.3);
    painter.setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform);
    painter.translate(size / 2, size / 2);
    if (frame.hasGlow)
        drawCentred(painter, glow, size);
    if (frame.phase == Kind::speaking && frame.hasGlow)
        drawWaves(painter, size, frame);
    drawCentred(painter, core, size * orbCore * growth);
    if (frame.phase != Kind::thinking && frame.phase != Kind::preparing)
        return;
    painter.rotate(std::fmod(frame.seconds * 260, 360));
    drawCentred(painter, sweep, size * (orbCore + 0.16));
}

} // namespace tavik
