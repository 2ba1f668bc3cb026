#pragma once

#include <sys/types.h>

namespace platform::native {

/// The process that another one is a child of; 0 when there is no such process.
pid_t parentOf(pid_t process);

/// A process that traces a thread of this one; 0 when there is none.
pid_t tracerOfThisProcess();

} // namespace platform::native
