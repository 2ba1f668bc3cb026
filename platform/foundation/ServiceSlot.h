#pragma once

#include <atomic>

namespace qf {

/// Returns the process's only slot for the implementation of the port of this name, null until one
/// is installed. Programs and libraries that are linked together share it, whatever symbols each of
/// them exports. Any thread may call it.
std::atomic<void*>& serviceSlot(const char* portName);

} // namespace qf
