#pragma once

#include "app/cli/ExitStatus.h"
#include "platform/InstanceLock.h"

#include <mutex>
#include <optional>

namespace start {

/// Decides when a program with windows ends that was asked to: at once, unless a run is on, which
/// goes on to its end. Any thread may call every member.
class Ending {
public:
    /// Asks the program to end.
    void request();

    /// To be called when a run begins, by its thread; does nothing in the middle of one. Waits for
    /// another run of the same user to end. An open window holds no others up before, but does from
    /// then on.
    void runBegins();

    /// To be called when all of the run is done.
    void runEnded();

    bool isRunning();

    /// From now on the process ends at once with this status. Returns whether that was requested
    /// before.
    bool loopEnded(cli::ExitStatus status);

private:
    void end();

    std::mutex mutex_;
    bool isRequested_ = false;
    bool isRunning_ = false;
    /// Set once the event loop has ended.
    std::optional<cli::ExitStatus> status_;
    /// Held from the first run until the process ends.
    std::optional<qf::InstanceLock> otherRuns_;
};

} // namespace start
