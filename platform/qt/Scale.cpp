#include "platform/qt/Scale.h"

#include <QApplication>
#include <QFontInfo>
#include <QScreen>

#include <algorithm>

namespace qf::qt {

namespace {

constexpr const char* scaleVariable = "QT_SCALE_FACTOR";

// In units of the type's size, measured with the windows' longest texts.
constexpr double leastWidth = 32;
constexpr double leastHeight = 20;

} // namespace

double scaleThatFits() {
    const auto screen = QGuiApplication::primaryScreen()->availableGeometry();
    const double type = QFontInfo(QApplication::font()).pixelSize();
    return std::min(
        {1.0, screen.width() / (leastWidth * type), screen.height() / (leastHeight * type)});
}

void scaleWindows(double factor) {
    bool isSet = false;
    const double scale = qEnvironmentVariable(scaleVariable).toDouble(&isSet);
    qputenv(scaleVariable, QByteArray::number(isSet ? factor * scale : factor));
}

} // namespace qf::qt
