#pragma once

class QWidget;

/// Where windows appear. Each takes the place of the one before it, same centre, so that a flow of
/// several windows looks like one that changes. Main thread only.
namespace platform::qt {

/// Gives the window the height that its contents need at its width, and keeps it that way. One that
/// lays nothing out keeps its size.
void fitToContents(QWidget& window);

/// Shows the window in front of the others and gives it the keyboard. Unless it is on the screen
/// already, its centre is that of `over`, or, when that is null, of the window that is or was last
/// on the screen, or of the screen when there was none.
void bringToFront(QWidget& window, const QWidget* over = nullptr);

/// Hides the window and remembers its place for the next one.
void takeAway(QWidget& window);

} // namespace platform::qt
