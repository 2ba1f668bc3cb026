#pragma once

#include <sys/types.h>

namespace qf::native {

/// The process that another one is a child of; 0 when there is no such process.
pid_t parentOf(pid_t process);

/// Returns a process that traces a thread of this one, or 0.
pid_t tracerOfThisProcess();

} // namespace qf::native
