#pragma once

class QSize;
class QWidget;

/// The placement of windows. Each is centred where the one before it was, so that a flow of several
/// windows looks like one that changes. Main thread only.
namespace qf::qt {

/// Returns the size of the largest window that is whole on the screen with its title bar.
QSize roomOnScreen(const QWidget& window);

/// Sets the window's height to what its contents need at its width, and keeps it so. From a window
/// that would be wider than the screen the pictures go; if that does not suffice, the parts of each
/// row that consists of layouts alone are put below one another. From one that would be higher go
/// the labels whose property "dispensable" is "true". A window without a layout keeps its size.
void fitToContents(QWidget& window);

/// Shows the window in front of the others and activates it. Unless it is on the screen already, it
/// is centred on `over` or, if that is null, on the window that is or was last on the screen, or on
/// the screen if there was none.
void bringToFront(QWidget& window, const QWidget* over = nullptr);

/// Hides the window and remembers its place for the next one.
void takeAway(QWidget& window);

} // namespace qf::qt
