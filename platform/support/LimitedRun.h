#pragma once

#include "platform/ProcessLauncher.h"

#include <chrono>
#include <cstddef>
#include <string>

namespace qf {

/// What a child may use up.
struct RunLimits {
    /// From its launch to its end.
    std::chrono::milliseconds time;
    /// From when it is killed to its end. One that ends later, or whose end another process keeps
    /// to itself by tracing it, is given up.
    std::chrono::milliseconds dying = std::chrono::seconds(10);
    /// The number of bytes on its standard output, and on its standard error.
    std::size_t output;
};

/// How a child with limits has ended.
struct LimitedRun {
    /// The limit that it has reached, if one.
    bool tookTooLong = false;
    bool wroteTooMuch = false;
    /// The exit status, or the number of the signal that ended the child; -1 of one given up.
    int status = 0;
    /// What it wrote, as far as the limit.
    std::string output;
    std::string errors;
};

/// Launches a program that is not trusted, with pipes for its output, and waits for its end. One
/// that reaches a limit is killed, with its children that stayed in its group. What it leaves
/// running is not waited for. Throws as ProcessLauncher::launch() and makePipes() do, or
/// std::system_error or qf::Exception if the system has no thread left; the child is killed
/// then.
LimitedRun runWithin(const RunLimits& limits, ProcessDescription description);

} // namespace qf
