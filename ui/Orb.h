#pragma once

#include "app/AppState.h"
#include "ui/OrbPainter.h"

#include <QAbstractButton>
#include <QBasicTimer>
#include <QElapsedTimer>

namespace tavik {

// The floating orb: there while Tavik gets ready, listens, thinks or speaks, and for a moment after
// a failure. A click, or the space bar, ends the conversation; dragging, or the arrow keys, moves
// it, and it stays where it was put. It draws only while it is seen.
class Orb : public QAbstractButton {
public:
    explicit Orb(AppState& state);

    // To be called when the phase has changed.
    void showPhase();

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void timerEvent(QTimerEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    bool hitButton(const QPoint& position) const override;

private:
    void appear();
    void disappear();
    void place();
    void savePlace();
    void shapeWithoutCompositor();

    AppState& state;
    OrbPainter painter;
    QBasicTimer frames;
    QBasicTimer farewell; // of an error
    QElapsedTimer shown;
    double level = 0; // smoothed
    QPoint grip;      // where the mouse holds it
    bool isDragged = false;
    bool hasCompositor = true;
};

} // namespace tavik
