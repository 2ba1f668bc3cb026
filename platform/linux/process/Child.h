#pragma once

#include "platform/ProcessLauncher.h"
#include "platform/linux/process/RunDescriptors.h"

#include <sys/types.h>

#include <csignal>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace platform::native {

/// A child of this process. It is known by a descriptor or, where the system has none, by its
/// number, which is no other process's until this one has taken the child's status.
class Child : public ChildProcess {
public:
    /// A child that is yet to begin. What it writes into `output` can end with it.
    explicit Child(std::vector<std::weak_ptr<platform::Pipe>> output)
        : output_(std::move(output)) {}

    /// Takes over a process that nobody else waits for. Cannot fail.
    void begin(pid_t identifier);

    long processIdentifier() const override { return identifier_; }
    bool isRunning() override;
    void waitUntilExit() override;
    void terminate() override;
    void endOutputWithChild() override;
    int terminationStatus() override;

    /// Readable once the child has ended; negative where the system has none.
    int descriptor() const { return descriptor_.get(); }

private:
    /// Takes the status of a child that has ended, after which the system forgets the child. The
    /// caller holds the mutex.
    bool hasEnded();
    bool wasKilled();
    void stopWaitingForOutput() const;
    int waitForChange() const;
    int waitFor(siginfo_t& info, int options) const;

    pid_t identifier_ = 0;
    RunDescriptor descriptor_;
    const std::vector<std::weak_ptr<platform::Pipe>> output_;
    std::mutex mutex_;
    std::optional<int> status_;
    bool wasKilled_ = false;
    bool endsOutput_ = false;
};

} // namespace platform::native
