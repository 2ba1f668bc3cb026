#pragma once

/// The size of everything in the windows, on screens that are too small for the person's type.
namespace qf::qt {

/// Returns by what factor everything has to be smaller for every window to have room on the screen;
/// 1 if all have. Main thread only.
double scaleThatFits();

/// Multiplies the scale of the windows of the next QApplication by this factor. Main thread only,
/// while there is no QApplication.
void scaleWindows(double factor);

} // namespace qf::qt
