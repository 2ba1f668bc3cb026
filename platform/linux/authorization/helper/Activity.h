#pragma once

#include <sys/types.h>

#include <span>
#include <string>

namespace qf::native::helper {

/// What a process and its children have done so far, as a text that changes whenever one of them
/// runs. A text that is still the same after minutes is that of processes that wait for one system
/// call. Empty when the system does not tell.
std::string activityOf(pid_t process);

/// What a process had done at one time, and at a later one.
struct Activities {
    std::string before;
    std::string now;
};

/// Whether processes have hung in between: there are some, and none has done anything. While one of
/// them works, others may wait for it. One of which the system does not tell counts as working.
bool haveHung(std::span<const Activities> processes);

} // namespace qf::native::helper
