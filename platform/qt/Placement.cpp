#include "platform/qt/Placement.h"

#include <QApplication>
#include <QBoxLayout>
#include <QCursor>
#include <QLabel>
#include <QLayout>
#include <QScreen>
#include <QWidget>
#include <QtMath>

#include <algorithm>
#include <optional>
#include <utility>

namespace qf::qt {

namespace {

constexpr const char* dispensableProperty = "dispensable";
constexpr double titleBarPixels = 32; // with most window managers

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
    layout.activate();
    return layout.totalMinimumSize().width();
}

void hidePictures(const QWidget& window) {
    for (auto* label : window.findChildren<QLabel*>()) {
        label->setHidden(label->isHidden() || !label->pixmap(Qt::ReturnByValue).isNull());
    }
}

bool consistsOfLayouts(const QLayout& layout) {
    for (int at = 0; at < layout.count(); ++at) {
        if (layout.itemAt(at)->layout() == nullptr) {
            return false;
        }
    }
    return true;
}

/// Puts the parts of rows of layouts below one another.
void breakRows(const QWidget& window) {
    for (auto* row : window.findChildren<QHBoxLayout*>()) {
        if (consistsOfLayouts(*row)) {
            row->setDirection(QBoxLayout::TopToBottom);
        }
    }
}

int neededHeight(QLayout& layout, int width) {
    layout.activate();
    return layout.hasHeightForWidth() ? layout.totalHeightForWidth(width)
                                      : layout.totalSizeHint().height();
}

/// Hides the texts that the window can do without, the last first, until it is low enough.
void hideTexts(const QWidget& window, QLayout& layout, QSize largest) {
    auto labels = window.findChildren<QLabel*>();
    std::reverse(labels.begin(), labels.end());
    for (auto* const label : std::as_const(labels)) {
        if (neededHeight(layout, largest.width()) <= largest.height()) {
            return;
        }
        label->setHidden(label->isHidden() ||
                         label->property(dispensableProperty).toString() == "true");
    }
}

} // namespace

QSize roomOnScreen(const QWidget& window) {
    const int titleBar = qCeil(titleBarPixels / window.devicePixelRatio());
    return window.screen()->availableGeometry().size() - QSize(0, titleBar);
}

void fitToContents(QWidget& window) {
    if (window.layout() == nullptr) {
        return;
    }
    auto& layout = *window.layout();
    const auto room = roomOnScreen(window);
    for (const auto save : {hidePictures, breakRows}) {
        if (neededWidth(layout) > room.width()) {
            save(window);
        }
    }
    const int width = std::max(std::min(window.width(), room.width()), neededWidth(layout));
    hideTexts(window, layout, {width, room.height()});
    window.setFixedSize(width, neededHeight(layout, width));
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

} // namespace qf::qt
