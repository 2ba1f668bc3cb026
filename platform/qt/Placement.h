#pragma once

class QWidget;

/// The placement of windows. Each is centred where the one before it was, so that a flow of several
/// windows looks like one that changes. Main thread only.
namespace platform::qt {

/// Sets the window's height to what its contents need at its width, and keeps it so. Pictures go
/// from a window that would be wider than the screen. A window without a layout keeps its size.
void fitToContents(QWidget& window);

/// Shows the window in front of the others and activates it. Unless it is on the screen already, it
/// is centred on `over` or, if that is null, on the window that is or was last on the screen, or on
/// the screen if there was none.
void bringToFront(QWidget& window, const QWidget* over = nullptr);

/// Hides the window and remembers its place for the next one.
void takeAway(QWidget& window);

} // namespace platform::qt
