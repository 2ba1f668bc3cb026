#pragma once

#include "platform/Windows.h"

#include <QObject>

#include <atomic>

class QCheckBox;
class QEvent;
class QLabel;
class QProgressBar;
class QWidget;

namespace qf::qt {

/// A window of the interface, sized to its contents.
class Window final : public QObject, public qf::Window {
public:
    /// `close` is called by the Escape key and by closing the window; without it the user cannot
    /// close the window. The widget must outlive this.
    Window(QWidget& widget, std::function<void()> close);

    QWidget& widget() { return widget_; }

    void makeKeyAndOrderFront() override;
    void orderOut() override;
    bool isVisible() override;
    bool hasAttachedSheet() override;

private:
    bool eventFilter(QObject* watched, QEvent* event) override;

    QWidget& widget_;
    std::function<void()> close_;
};

/// A checkbox, whose state other threads may read.
class CheckBox final : public qf::CheckBox {
public:
    explicit CheckBox(QCheckBox& widget);
    qf::CheckBoxState state() override { return state_.load(std::memory_order_relaxed); }

private:
    std::atomic<qf::CheckBoxState> state_;
};

/// A text that is shortened in its middle to the width that it has.
class Label final : public qf::Label {
public:
    explicit Label(QLabel& widget) : widget_(widget) {}
    void setText(const std::string& text) override;

private:
    QLabel& widget_;
};

/// A bar that does not move until its animation is started.
class ProgressIndicator final : public qf::ProgressIndicator {
public:
    explicit ProgressIndicator(QProgressBar& widget);

    /// Changes nothing: the bar moves by itself while the main thread's event loop runs, and the
    /// main thread never works for long.
    void setUsesThreadedAnimation(bool threaded) override;
    void startAnimation() override;

private:
    QProgressBar& widget_;
};

} // namespace qf::qt
