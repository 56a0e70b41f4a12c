#pragma once

#include "voice/TavikPhase.h"

#include <QPixmap>

class QPainter;

namespace tavik {

// Draws the orb. The costly gradients are drawn once for a phase and a scale, each frame only puts
// them together.
class OrbPainter {
public:
    struct Frame {
        TavikPhase::Kind phase = TavikPhase::Kind::off;
        double seconds = 0; // since it appeared
        double level = 0;   // of the sound, 0 to 1
        bool hasGlow = true;
    };

    // Into the square of `size` points at the origin, for a screen with `scale` pixels a point.
    void paint(QPainter& painter, double size, double scale, const Frame& frame);

private:
    void prepare(TavikPhase::Kind phase, double size, double scale);

    TavikPhase::Kind preparedPhase = TavikPhase::Kind::off;
    double preparedScale = 0;
    QPixmap glow;
    QPixmap core;
    QPixmap sweep;
};

// The part of `size` that the core fills at rest.
constexpr double orbCore = 0.56;

} // namespace tavik
