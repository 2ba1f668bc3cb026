#pragma once

#include <functional>

namespace qf::qt {

/// Has a session manager that is about to end the session wait while `isBusy` returns true: the
/// session goes on if the manager allows it to be asked. Also keeps the manager from starting the
/// program again with the next session. Main thread only, once, after the QApplication was made.
void holdSessionWhile(std::function<bool()> isBusy);

} // namespace qf::qt
