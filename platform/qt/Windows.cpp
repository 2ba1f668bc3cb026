#include "platform/qt/Windows.h"

#include "platform/qt/Display.h"
#include "platform/qt/Placement.h"
#include "platform/qt/PlainText.h"

#include <QCheckBox>
#include <QDialog>
#include <QKeyEvent>
#include <QLabel>
#include <QProgressBar>
#include <QWidget>

#include <algorithm>
#include <utility>

namespace qf::qt {

namespace {

#if QT_VERSION >= QT_VERSION_CHECK(6, 7, 0)
constexpr auto stateChanged = &QCheckBox::checkStateChanged;
#else
constexpr auto stateChanged = &QCheckBox::stateChanged;
#endif

qf::CheckBoxState checkBoxState(Qt::CheckState state) {
    switch (state) {
    case Qt::Checked:
        return qf::CheckBoxState::on;
    case Qt::PartiallyChecked:
        return qf::CheckBoxState::mixed;
    case Qt::Unchecked:
        break;
    }
    return qf::CheckBoxState::off;
}

bool isEscape(const QEvent& event) {
    return event.type() == QEvent::KeyPress &&
           static_cast<const QKeyEvent&>(event).matches(QKeySequence::Cancel);
}

} // namespace

Window::Window(QWidget& widget, std::function<void()> close)
    : widget_(widget), close_(std::move(close)) {
    widget_.installEventFilter(this);
}

void Window::makeKeyAndOrderFront() {
    fitToContents(widget_);
    bringToFront(widget_);
}

void Window::orderOut() {
    takeAway(widget_);
}

bool Window::isVisible() {
    return widget_.isVisible();
}

bool Window::hasAttachedSheet() {
    const auto sheets = widget_.findChildren<QDialog*>(QString(), Qt::FindDirectChildrenOnly);
    return std::any_of(sheets.begin(), sheets.end(),
                       [](const QDialog* sheet) { return sheet->isVisible(); });
}

bool Window::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() != QEvent::Close && !isEscape(*event)) {
        return QObject::eventFilter(watched, event);
    }
    event->setAccepted(event->type() != QEvent::Close);
    if (close_) {
        close_();
    }
    return true;
}

CheckBox::CheckBox(QCheckBox& widget) : state_(checkBoxState(widget.checkState())) {
    QObject::connect(&widget, stateChanged, &widget, [this, &widget] {
        state_.store(checkBoxState(widget.checkState()), std::memory_order_relaxed);
    });
}

void Label::setText(const std::string& text) {
    if (!hasDisplay()) {
        return;
    }
    const auto whole = plaintext::fromUtf8(text).simplified();
    widget_.setTextFormat(Qt::PlainText);
    widget_.setText(widget_.fontMetrics().elidedText(whole, Qt::ElideMiddle, widget_.width()));
    widget_.setAccessibleName(whole);
}

ProgressIndicator::ProgressIndicator(QProgressBar& widget) : widget_(widget) {
    widget_.setRange(0, 1);
    widget_.setValue(0);
}

void ProgressIndicator::setUsesThreadedAnimation(bool /*threaded*/) {
}

void ProgressIndicator::startAnimation() {
    widget_.setRange(0, 0);
}

} // namespace qf::qt
