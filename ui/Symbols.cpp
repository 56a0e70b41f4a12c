#include "ui/Symbols.h"

#include "ui/OrbPainter.h"

#include <QApplication>
#include <QIconEngine>
#include <QPainter>
#include <QPainterPath>
#include <QPalette>
#include <functional>
#include <map>

namespace tavik {

namespace {

constexpr double grid = 24; // the drawings' units

using Drawing = std::function<void(QPainterPath&)>;

void polyline(QPainterPath& path, const QPolygonF& points) {
    path.addPolygon(points);
}

void drawMicrophone(QPainterPath& path) {
    path.addRoundedRect(9, 3, 6, 11, 3, 3);
    path.moveTo(6, 11);
    path.arcTo(6, 5, 12, 12, 180, 180);
    path.moveTo(12, 17);
    path.lineTo(12, 21);
}

void drawWaveform(QPainterPath& path) {
    const double heights[] = {3, 7, 10, 6, 8, 3};
    for (int bar = 0; bar < 6; ++bar) {
        path.moveTo(3 + bar * 3.6, 12 - heights[bar] / 1.2);
        path.lineTo(3 + bar * 3.6, 12 + heights[bar] / 1.2);
    }
}

void drawPerson(QPainterPath& path) {
    path.addEllipse(QPointF(12, 12), 9.5, 9.5);
    path.addEllipse(QPointF(12, 7.4), 1.1, 1.1);
    polyline(path, {{7.5, 10.5}, {12, 11.5}, {16.5, 10.5}});
    polyline(path, {{9.2, 18.5}, {12, 13.6}, {14.8, 18.5}});
    polyline(path, {{12, 11.5}, {12, 13.6}});
}

void drawScreen(QPainterPath& path) {
    path.addRoundedRect(3, 5, 18, 13, 2, 2);
    path.addEllipse(QPointF(16.5, 14), 1.6, 1.6);
}

void drawGears(QPainterPath& path) {
    path.addEllipse(QPointF(12, 12), 3.4, 3.4);
    path.addEllipse(QPointF(12, 12), 7, 7);
    for (int tooth = 0; tooth < 8; ++tooth) {
        const QTransform turn = QTransform().translate(12, 12).rotate(tooth * 45.0);
        path.moveTo(turn.map(QPointF(7, 0)));
        path.lineTo(turn.map(QPointF(9.6, 0)));
    }
}

void drawSparkles(QPainterPath& path) {
    const auto star = [&path](QPointF middle, double size) {
        path.moveTo(middle + QPointF(0, -size));
        path.quadTo(middle, middle + QPointF(size, 0));
        path.quadTo(middle, middle + QPointF(0, size));
        path.quadTo(middle, middle + QPointF(-size, 0));
        path.quadTo(middle, middle + QPointF(0, -size));
    };
    star({10, 13}, 7.5);
    star({18.5, 5.5}, 3.5);
}

void drawBolt(QPainterPath& path) {
    polyline(
        path,
        {{13.5, 2.5}, {5, 13.5}, {11, 13.5}, {10.5, 21.5}, {19, 10.5}, {13, 10.5}, {13.5, 2.5}});
}

void drawClock(QPainterPath& path) {
    path.addEllipse(QPointF(12, 12), 9.2, 9.2);
    polyline(path, {{12, 6.5}, {12, 12}, {16, 14.5}});
}

void drawPlug(QPainterPath& path) {
    polyline(path, {{8.5, 2.5}, {8.5, 7}});
    polyline(path, {{15.5, 2.5}, {15.5, 7}});
    path.addRoundedRect(5.5, 7, 13, 4, 1.5, 1.5);
    path.moveTo(7, 11);
    path.arcTo(7, 6, 10, 10, 180, 180);
    polyline(path, {{12, 16}, {12, 21.5}});
}

void drawDocuments(QPainterPath& path) {
    path.addRoundedRect(8, 7, 11, 14, 2, 2);
    polyline(path, {{5, 16.5}, {5, 5}, {6.5, 3.5}, {15, 3.5}});
}

void drawCheck(QPainterPath& path) {
    polyline(path, {{4.5, 12.5}, {10, 18}, {20, 6.5}});
}

void drawPlay(QPainterPath& path) {
    path.addEllipse(QPointF(12, 12), 9.2, 9.2);
    polyline(path, {{10, 8}, {16, 12}, {10, 16}, {10, 8}});
}

void drawStop(QPainterPath& path) {
    path.addEllipse(QPointF(12, 12), 9.2, 9.2);
    path.addRect(9, 9, 6, 6);
}

const std::map<QString, Drawing>& drawings() {
    static const std::map<QString, Drawing> all = {
        {"mic.fill", drawMicrophone},
        {"waveform", drawWaveform},
        {"accessibility", drawPerson},
        {"rectangle.dashed.badge.record", drawScreen},
        {"gearshape.2.fill", drawGears},
        {"sparkles", drawSparkles},
        {"bolt", drawBolt},
        {"clock", drawClock},
        {"plug", drawPlug},
        {"doc.on.doc", drawDocuments},
        {"checkmark", drawCheck},
        {"play.circle.fill", drawPlay},
        {"stop.circle.fill", drawStop},
    };
    return all;
}

// Draws anew for every size and colour.
class SymbolEngine : public QIconEngine {
public:
    explicit SymbolEngine(const Drawing& draw) { draw(path); }

    void paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State) override {
        const auto group = mode == QIcon::Disabled ? QPalette::Disabled : QPalette::Active;
        const auto role = mode == QIcon::Selected ? QPalette::HighlightedText : QPalette::Text;
        const double scale = std::min(rect.width(), rect.height()) / grid;
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        painter->translate(rect.topLeft());
        painter->scale(scale, scale);
        painter->setPen(QPen(QApplication::palette().color(group, role), 1.7, Qt::SolidLine,
                             Qt::RoundCap, Qt::RoundJoin));
        painter->drawPath(path);
        painter->restore();
    }

    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override {
        QPixmap drawn(size);
        drawn.fill(Qt::transparent);
        QPainter painter(&drawn);
        paint(&painter, drawn.rect(), mode, state);
        return drawn;
    }

    QIconEngine* clone() const override { return new SymbolEngine(*this); }

private:
    QPainterPath path;
};

QPixmap orbPixmap(TavikPhase::Kind phase, int size) {
    QPixmap pixmap(size, size);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    const double whole = size / orbCore * 0.94;
    painter.translate((size - whole) / 2, (size - whole) / 2);
    OrbPainter().paint(painter, whole, 1, {.phase = phase, .hasGlow = false});
    return pixmap;
}

void crossOut(QPixmap& pixmap) {
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    const double size = pixmap.width();
    painter.setPen(QPen(Qt::white, size * 0.12, Qt::SolidLine, Qt::RoundCap));
    painter.drawLine(QPointF(size * 0.28, size * 0.72), QPointF(size * 0.72, size * 0.28));
}

} // namespace

QIcon symbolIcon(const QString& name) {
    const auto found = drawings().find(name);
    return found == drawings().end() ? QIcon() : QIcon(new SymbolEngine(found->second));
}

QIcon phaseIcon(TavikPhase::Kind phase) {
    // At rest it has the colour of what it waits for.
    const auto shown = phase == TavikPhase::Kind::idle ? TavikPhase::Kind::listening : phase;
    QIcon icon;
    for (const int size : {16, 22, 24, 32, 48, 64, 128}) {
        QPixmap pixmap = orbPixmap(shown, size);
        if (phase == TavikPhase::Kind::off)
            crossOut(pixmap);
        icon.addPixmap(pixmap);
    }
    return icon;
}

} // namespace tavik
