#pragma once

namespace qf {
class InstanceLock;
}

namespace qf::qt {

/// From now on brings the windows to the front whenever another process touches the lock's file.
/// Main thread only; the QApplication must exist, and this ends with it.
void raiseOnRequest(const InstanceLock& lock);

} // namespace qf::qt
