#include "platform/qt/Appearance.h"

#include <QApplication>
#include <QCheckBox>
#include <QGraphicsOpacityEffect>
#include <QIcon>
#include <QLabel>
#include <QPainter>
#include <QProxyStyle>
#include <QStyleOption>

namespace qf::qt {

namespace {

constexpr double titleScale = 1.3;
constexpr double noteScale = 0.9;
constexpr double noteOpacity = 0.7;
constexpr float outlineOpacity = 0.5;
constexpr int iconSize = 64;

void setFont(QLabel& label, double scale, QFont::Weight weight) {
    auto font = label.font();
    if (font.pixelSize() > 0) {
        font.setPixelSize(qRound(font.pixelSize() * scale));
    } else {
        font.setPointSizeF(font.pointSizeF() * scale);
    }
    font.setWeight(weight);
    label.setFont(font);
}

/// Qt's own style, with outlined boxes.
class OutlinedStyle : public QProxyStyle {
public:
    OutlinedStyle() : QProxyStyle(QStringLiteral("fusion")) {}

    void drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                       const QWidget* widget) const override {
        QProxyStyle::drawPrimitive(element, option, painter, widget);
        if (element == PE_IndicatorCheckBox) {
            auto colour = option->palette.color(QPalette::WindowText);
            colour.setAlphaF(outlineOpacity);
            painter->setPen(colour);
            painter->setBrush(Qt::NoBrush);
            painter->drawRect(option->rect.adjusted(0, 0, -1, -1));
        }
    }
};

} // namespace

void outline(QCheckBox& box) {
    if (box.style()->name() == QStringLiteral("fusion")) {
        auto* style = new OutlinedStyle;
        style->setParent(&box);
        box.setStyle(style);
    }
}

void styleAsTitle(QLabel& label) {
    setFont(label, titleScale, QFont::Bold);
}

void styleAsMessage(QLabel& label) {
    setFont(label, 1.0, QFont::Bold);
}

void styleAsNote(QLabel& label) {
    setFont(label, noteScale, QFont::Normal);
    // Dimming by opacity follows the palette when the desktop changes between light and dark.
    auto* effect = new QGraphicsOpacityEffect(&label);
    effect->setOpacity(noteOpacity);
    label.setGraphicsEffect(effect);
}

void styleAsCheckBoxNote(QLabel& label) {
    styleAsNote(label);
    const auto* style = label.style();
    label.setContentsMargins(style->pixelMetric(QStyle::PM_IndicatorWidth) +
                                 style->pixelMetric(QStyle::PM_CheckBoxLabelSpacing),
                             0, 0, 0);
}

void styleAsApplicationIcon(QLabel& label) {
    label.setPixmap(QApplication::windowIcon().pixmap(iconSize, iconSize));
    label.setFixedSize(iconSize, iconSize);
}

} // namespace qf::qt
