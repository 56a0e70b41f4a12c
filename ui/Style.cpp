#include "ui/Style.h"

#include <QPainter>
#include <QPainterPath>
#include <QStyleFactory>
#include <QStyleOption>

namespace tavik {

namespace {

constexpr double controlRadius = 7;
constexpr double boxRadius = 4;
constexpr int boxSize = 17;
constexpr int comboHeight = 32;
constexpr int comboMargin = 8;
constexpr int arrowWidth = 28;

bool has(const QStyleOption& option, QStyle::StateFlag state) {
    return option.state.testFlag(state);
}

// A rectangle with a line, which is stronger around what has the focus.
void drawFrame(QPainter& painter, const QStyleOption& option, const QColor& fill,
               const QColor& line, double radius) {
    const double width = has(option, QStyle::State_HasFocus) ? 2 : 1;
    painter.setPen(QPen(line, width));
    painter.setBrush(fill);
    const double inset = width / 2;
    painter.drawRoundedRect(QRectF(option.rect).adjusted(inset, inset, -inset, -inset), radius,
                            radius);
}

void drawLine(QPainter& painter, const QColor& colour, const QPolygonF& points) {
    painter.setPen(QPen(colour, 1.8, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.setBrush(Qt::NoBrush);
    painter.drawPolyline(points);
}

QPolygonF tick(const QRectF& box) {
    const auto at = [&box](double x, double y) {
        return QPointF(box.left() + x * box.width(), box.top() + y * box.height());
    };
    return {{at(0.26, 0.53), at(0.43, 0.70), at(0.74, 0.33)}};
}

void drawCheckBox(QPainter& painter, const QStyleOption& option) {
    const QPalette& colours = option.palette;
    const bool isOn = has(option, QStyle::State_On);
    const bool isEnabled = has(option, QStyle::State_Enabled);
    const QColor fill = isOn ? colours.color(isEnabled ? QPalette::Highlight : QPalette::Mid)
                             : colours.color(QPalette::Base);
    const QColor line = isOn ? fill : colours.color(QPalette::PlaceholderText);
    drawFrame(painter, option, fill, line, boxRadius);
    if (isOn)
        drawLine(painter, colours.color(QPalette::HighlightedText), tick(option.rect));
}

void drawCombo(QPainter& painter, const QStyleOptionComboBox& option, const QRect& arrow) {
    const QPalette& colours = option.palette;
    const bool isUsable = has(option, QStyle::State_Enabled);
    const auto ground = !isUsable         ? QPalette::Window
                        : option.editable ? QPalette::Base
                                          : QPalette::Button;
    const auto line = has(option, QStyle::State_HasFocus) ? QPalette::Highlight : QPalette::Mid;
    drawFrame(painter, option, colours.color(ground), colours.color(line), controlRadius);
    const QPointF middle = QRectF(arrow).center();
    drawLine(painter, colours.color(isUsable ? QPalette::Text : QPalette::PlaceholderText),
             {{middle + QPointF(-4, -2), middle + QPointF(0, 2), middle + QPointF(4, -2)}});
}

} // namespace

Style::Style()
    : QProxyStyle(QStyleFactory::create("Fusion")) {}

void Style::drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                          const QWidget* widget) const {
    if (element != PE_IndicatorCheckBox) {
        QProxyStyle::drawPrimitive(element, option, painter, widget);
        return;
    }
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    drawCheckBox(*painter, *option);
    painter->restore();
}

void Style::drawComplexControl(ComplexControl control, const QStyleOptionComplex* option,
                               QPainter* painter, const QWidget* widget) const {
    const auto* combo = qstyleoption_cast<const QStyleOptionComboBox*>(option);
    if (control != CC_ComboBox || !combo) {
        QProxyStyle::drawComplexControl(control, option, painter, widget);
        return;
    }
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    drawCombo(*painter, *combo, subControlRect(control, option, SC_ComboBoxArrow, widget));
    painter->restore();
}

QRect Style::subControlRect(ComplexControl control, const QStyleOptionComplex* option,
                            SubControl subControl, const QWidget* widget) const {
    const QRect whole = option->rect;
    if (control == CC_ComboBox && subControl == SC_ComboBoxArrow)
        return visualRect(option->direction, whole,
                          whole.adjusted(whole.width() - arrowWidth, 0, 0, 0));
    if (control == CC_ComboBox && subControl == SC_ComboBoxEditField)
        return visualRect(option->direction, whole,
                          whole.adjusted(comboMargin, 3, -arrowWidth, -3));
    return QProxyStyle::subControlRect(control, option, subControl, widget);
}

QSize Style::sizeFromContents(ContentsType type, const QStyleOption* option, const QSize& size,
                              const QWidget* widget) const {
    const QSize usual = QProxyStyle::sizeFromContents(type, option, size, widget);
    if (type != CT_ComboBox)
        return usual;
    return usual.expandedTo({size.width() + comboMargin + arrowWidth, comboHeight});
}

int Style::pixelMetric(PixelMetric metric, const QStyleOption* option,
                       const QWidget* widget) const {
    if (metric == PM_IndicatorWidth || metric == PM_IndicatorHeight)
        return boxSize;
    return QProxyStyle::pixelMetric(metric, option, widget);
}

} // namespace tavik
