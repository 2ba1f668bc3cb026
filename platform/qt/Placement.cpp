#include "platform/qt/Placement.h"

#include <QApplication>
#include <QCursor>
#include <QLabel>
#include <QLayout>
#include <QScreen>
#include <QWidget>

#include <algorithm>
#include <optional>

namespace platform::qt {

namespace {

std::optional<QPoint> lastCentre;

bool isWindowOnScreen(const QWidget* widget) {
    const auto type = widget->windowType();
    return widget->isVisible() && (type == Qt::Window || type == Qt::Dialog);
}

const QWidget* windowOnScreen() {
    const auto windows = QApplication::topLevelWidgets();
    const auto found = std::find_if(windows.begin(), windows.end(), isWindowOnScreen);
    return found == windows.end() ? nullptr : *found;
}

const QScreen& screenAt(QPoint point) {
    const auto* screen = QGuiApplication::screenAt(point);
    return screen != nullptr ? *screen : *QGuiApplication::primaryScreen();
}

QPoint centreFor(const QWidget* over) {
    if (over == nullptr || !over->isVisible()) {
        over = windowOnScreen();
    }
    if (over != nullptr) {
        return over->geometry().center();
    }
    return lastCentre.value_or(screenAt(QCursor::pos()).availableGeometry().center());
}

/// Returns the rectangle of this size around the centre, moved just enough to be on the screen.
QRect onScreen(QSize size, QPoint centre) {
    QRect place({0, 0}, size);
    place.moveCenter(centre);
    const auto space = screenAt(centre).availableGeometry();
    place.moveLeft(
        std::max(space.left(), std::min(place.left(), space.right() + 1 - size.width())));
    place.moveTop(std::max(space.top(), std::min(place.top(), space.bottom() + 1 - size.height())));
    return place;
}

/// Returns the smallest width at which nothing is cut off.
int neededWidth(QLayout& layout) {
    // Nested layouts keep stale sizes until this one is activated.
    layout.invalidate();
    layout.activate();
    return layout.totalMinimumSize().width();
}

void hidePictures(const QWidget& window) {
    for (auto* label : window.findChildren<QLabel*>()) {
        label->setHidden(label->isHidden() || !label->pixmap(Qt::ReturnByValue).isNull());
    }
}

} // namespace

void fitToContents(QWidget& window) {
    if (window.layout() == nullptr) {
        return;
    }
    auto& layout = *window.layout();
    const int available = window.screen()->availableGeometry().width();
    if (neededWidth(layout) > available) {
        hidePictures(window);
    }
    const int width = std::max(std::min(window.width(), available), neededWidth(layout));
    const int height = layout.hasHeightForWidth() ? layout.totalHeightForWidth(width)
                                                  : layout.totalSizeHint().height();
    window.setFixedSize(width, height);
}

void bringToFront(QWidget& window, const QWidget* over) {
    if (window.isVisible()) {
        window.raise();
    } else {
        window.setGeometry(onScreen(window.size(), centreFor(over)));
        window.show();
        // Otherwise the focus is not drawn before the first press of Tab.
        window.setAttribute(Qt::WA_KeyboardFocusChange);
    }
    window.activateWindow();
}

void takeAway(QWidget& window) {
    if (window.isVisible()) {
        lastCentre = window.geometry().center();
        window.hide();
    }
}

} // namespace platform::qt
