#include "platform/qt/Appearance.h"

#include <QApplication>
#include <QGraphicsOpacityEffect>
#include <QIcon>
#include <QLabel>
#include <QStyle>

namespace platform::qt {

namespace {

constexpr double titleScale = 1.3;
constexpr double noteScale = 0.9;
constexpr double noteOpacity = 0.7;
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

} // namespace

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

} // namespace platform::qt
