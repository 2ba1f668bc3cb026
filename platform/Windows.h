#pragma once

#include <functional>
#include <string>

namespace platform {

/// A window of the user interface. Main thread only.
class Window {
public:
    virtual ~Window() = default;

    /// Shows the window in front of the others and gives it the keyboard.
    virtual void makeKeyAndOrderFront() = 0;

    /// Hides the window.
    virtual void orderOut() = 0;

    /// Whether the window is on the screen.
    virtual bool isVisible() = 0;

    /// Whether an alert is attached to the window.
    virtual bool hasAttachedSheet() = 0;
};

/// Whether a checkbox is ticked; mixed when it is neither.
enum class CheckBoxState : int { mixed = -1, off = 0, on = 1 };

/// A checkbox.
class CheckBox {
public:
    virtual ~CheckBox() = default;

    /// Any thread may read it.
    virtual CheckBoxState state() = 0;
};

/// A bar that shows that work goes on, without saying how much is left. Main thread only.
class ProgressIndicator {
public:
    virtual ~ProgressIndicator() = default;

    /// Whether the bar moves even while the main thread is busy.
    virtual void setUsesThreadedAnimation(bool threaded) = 0;

    /// Sets the bar moving.
    virtual void startAnimation() = 0;
};

/// The user interface that was loaded from an interface file, whose objects are found by name.
/// Main thread only. The objects live as long as the interface.
class Interface {
public:
    virtual ~Interface() = default;

    /// Each throws platform::Exception "QFOutletMissing", whose reason names the outlet, when the
    /// file has no object of that name and kind.
    virtual Window& window(const std::string& name) = 0;
    virtual CheckBox& checkBox(const std::string& name) = 0;
    virtual ProgressIndicator& progressIndicator(const std::string& name) = 0;

    /// Has `perform` called whenever a control that the file connects with the action `name` (such
    /// as "uninstall:") is used while its window is on the screen. Throws platform::Exception
    /// "QFActionMissing", whose reason names the action, when the file connects nothing with it.
    virtual void setAction(const std::string& name, std::function<void()> perform) = 0;
};

} // namespace platform
