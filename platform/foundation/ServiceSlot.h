#pragma once

#include <atomic>

namespace platform {

/// The one place of the process where the implementation of the port of this name is kept, null
/// while there is none. Programs and libraries that are linked together share it, however much of
/// their symbols each of them shows. Any thread may call it.
std::atomic<void*>& serviceSlot(const char* portName);

} // namespace platform
