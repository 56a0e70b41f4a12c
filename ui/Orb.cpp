#include "ui/Orb.h"

#include "platform/defaults/UserDefaults.h"
#include "platform/desktop/DisplayCheck.h"
#include "platform/desktop/WindowHints.h"
#include "ui/PhaseText.h"
#include "ui/widgets/LevelMeter.h"

#include <QGuiApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QScreen>
#include <QStyle>
#include <cmath>

namespace tavik {

namespace {

constexpr int side = 132;     // points
constexpr int margin = 24;    // to the screen's edge
constexpr int step = 24;      // of the arrow keys
constexpr int frameTime = 16; // milliseconds
constexpr int farewellTime = 8000;
constexpr double quickness = 0.3; // of the level, a frame

using Kind = TavikPhase::Kind;

bool isSeen(Kind phase) {
    return phase != Kind::off && phase != Kind::idle;
}

bool isOnX11() {
    return QGuiApplication::platformName() == "xcb";
}

bool moves(Kind phase) {
    return isSeen(phase) && phase != Kind::error;
}

} // namespace

Orb::Orb(AppState& appState)
    : state(appState) {
    setWindowFlags(Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint |
                   Qt::NoDropShadowWindowHint);
    setAttribute(Qt::WA_TranslucentBackground);
    setAttribute(Qt::WA_ShowWithoutActivating);
    setAttribute(Qt::WA_QuitOnClose, false);
    setWindowTitle("Tavik");
    setFocusPolicy(Qt::StrongFocus);
    resize(sizeHint());
    setAccessibleDescription("Press to end the conversation, drag or use the arrow keys to move");
    connect(this, &QAbstractButton::clicked, this, [this] {
        if (state.phase().kind == Kind::error)
            disappear();
        else
            state.cancelSession();
    });
}

QSize Orb::sizeHint() const {
    return {side, side};
}

void Orb::showPhase() {
    const Kind phase = state.phase().kind;
    setAccessibleName("Tavik: " + phaseText(state));
    setToolTip(phaseText(state));
    if (!isSeen(phase)) {
        disappear();
        return;
    }
    appear();
    if (moves(phase))
        frames.start(frameTime, Qt::PreciseTimer, this);
    else
        frames.stop();
    if (phase == Kind::error)
        farewell.start(farewellTime, this);
    else
        farewell.stop();
    update();
}

void Orb::appear() {
    if (isVisible())
        return;
    shown.start();
    level = 0;
    place();
    shapeWithoutCompositor();
    if (isOnX11())
        keepOutOfTaskbar(static_cast<std::uint32_t>(winId()));
    show();
}

void Orb::disappear() {
    frames.stop();
    farewell.stop();
    hide();
}

// Where the user put it, as long as that is on a screen; else at the bottom right.
void Orb::place() {
    const QStringList saved =
        qt(state.defaults().string("orbPosition").value_or("")).split(u',', Qt::SkipEmptyParts);
    if (saved.size() == 2) {
        const QPoint position(saved[0].toInt(), saved[1].toInt());
        if (QGuiApplication::screenAt(position + rect().center())) {
            move(position);
            return;
        }
    }
    const QRect area = QGuiApplication::primaryScreen()->availableGeometry();
    move(area.bottomRight() - QPoint(side + margin, side + margin));
}

void Orb::savePlace() {
    try {
        state.defaults().set("orbPosition",
                             QString("%1,%2").arg(pos().x()).arg(pos().y()).toStdString());
    } catch (const std::exception&) {
        // It is where it is, for now.
    }
}

// Without a compositing manager what is not drawn would be black.
void Orb::shapeWithoutCompositor() {
    hasCompositor = !isOnX11() || xCompositorRuns();
    if (hasCompositor) {
        clearMask();
        return;
    }
    const auto inset = static_cast<int>(side * (1 - orbCore - 0.14) / 2);
    setMask(QRegion(rect().adjusted(inset, inset, -inset, -inset), QRegion::Ellipse));
}

void Orb::paintEvent(QPaintEvent*) {
    QPainter canvas(this);
    if (!hasCompositor)
        canvas.fillRect(rect(), QColor(28, 30, 40));
    painter.paint(canvas, side, devicePixelRatioF(),
                  {.phase = state.phase().kind,
                   .seconds = static_cast<double>(shown.elapsed()) / 1000,
                   .level = level});
    if (!hasFocus())
        return;
    canvas.resetTransform();
    canvas.setPen(QPen(palette().highlight().color(), 2));
    canvas.setBrush(Qt::NoBrush);
    canvas.drawEllipse(QRectF(rect()).center(), side * 0.36, side * 0.36);
}

void Orb::timerEvent(QTimerEvent* event) {
    if (event->timerId() == farewell.timerId()) {
        disappear();
        return;
    }
    const double target = state.phase().kind == Kind::listening ? meterLevel(state.level()) : 0;
    level += (target - level) * quickness;
    update();
}

bool Orb::hitButton(const QPoint& position) const {
    const QPoint middle = rect().center() - position;
    return std::hypot(middle.x(), middle.y()) <= side * (orbCore / 2 + 0.08);
}

void Orb::mousePressEvent(QMouseEvent* event) {
    grip = event->globalPosition().toPoint() - pos();
    isDragged = false;
    QAbstractButton::mousePressEvent(event);
}

void Orb::mouseMoveEvent(QMouseEvent* event) {
    const QPoint target = event->globalPosition().toPoint() - grip;
    if ((event->buttons() & Qt::LeftButton) == 0)
        return;
    isDragged = isDragged || (target - pos()).manhattanLength() >= 6;
    if (isDragged)
        move(target);
}

// What was dragged was not clicked.
void Orb::mouseReleaseEvent(QMouseEvent* event) {
    if (!isDragged) {
        QAbstractButton::mouseReleaseEvent(event);
        return;
    }
    setDown(false);
    savePlace();
}

void Orb::keyPressEvent(QKeyEvent* event) {
    QPoint way;
    if (event->key() == Qt::Key_Left || event->key() == Qt::Key_Right)
        way.setX(event->key() == Qt::Key_Left ? -step : step);
    else if (event->key() == Qt::Key_Up || event->key() == Qt::Key_Down)
        way.setY(event->key() == Qt::Key_Up ? -step : step);
    else if (event->key() == Qt::Key_Escape || event->key() == Qt::Key_Return)
        click();
    else
        QAbstractButton::keyPressEvent(event);
    if (way.isNull())
        return;
    move(pos() + way);
    savePlace();
}

} // namespace tavik
