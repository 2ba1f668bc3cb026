#pragma once

#include <functional>
#include <string>

namespace qf {

/// A window of the user interface. Main thread only.
class Window {
public:
    virtual ~Window() = default;

    /// Shows the window in front of the others and makes it the key window.
    virtual void makeKeyAndOrderFront() = 0;

    /// Hides the window.
    virtual void orderOut() = 0;

    /// Returns whether the window is on the screen.
    virtual bool isVisible() = 0;

    /// Returns whether an alert is attached to the window.
    virtual bool hasAttachedSheet() = 0;
};

/// The state of a checkbox; mixed if it is neither ticked nor clear.
enum class CheckBoxState : int { mixed = -1, off = 0, on = 1 };

/// A checkbox.
class CheckBox {
public:
    virtual ~CheckBox() = default;

    /// Returns the state. Any thread may call it.
    virtual CheckBoxState state() = 0;
};

/// A bar that shows that work is in progress, without showing how much is left. Main thread only.
class ProgressIndicator {
public:
    virtual ~ProgressIndicator() = default;

    /// Sets whether the bar moves even while the main thread is busy.
    virtual void setUsesThreadedAnimation(bool threaded) = 0;

    /// Starts the animation.
    virtual void startAnimation() = 0;
};

/// A text of a window. Main thread only.
class Label {
public:
    virtual ~Label() = default;

    /// Shows another text, which is plain and takes one line.
    virtual void setText(const std::string& text) = 0;
};

/// The user interface loaded from an interface file, whose objects are found by name. Main thread
/// only. The objects live as long as the interface.
class Interface {
public:
    virtual ~Interface() = default;

    /// Return the object of that name. Each throws qf::Exception "QFOutletMissing", whose
    /// reason names the outlet, if the file has no object of that name and kind.
    virtual Window& window(const std::string& name) = 0;
    virtual CheckBox& checkBox(const std::string& name) = 0;
    virtual ProgressIndicator& progressIndicator(const std::string& name) = 0;
    virtual Label& label(const std::string& name) = 0;

    /// Calls `perform` whenever a control that the file connects to the action `name` (such as
    /// "uninstall:") is used while its window is on the screen. Throws qf::Exception
    /// "QFActionMissing", whose reason names the action, if the file connects nothing to it.
    virtual void setAction(const std::string& name, std::function<void()> perform) = 0;
};

} // namespace qf
