#pragma once

namespace qf::qt {

/// Returns whether there is a display. Any thread.
bool hasDisplay();

/// From now on hasDisplay() is false: the process is being ended, and much of what Qt needs for its
/// windows has been destroyed. Any thread.
void loseDisplay();

} // namespace qf::qt
