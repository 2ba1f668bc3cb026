#pragma once

#include "platform/ProcessLauncher.h"
#include "platform/linux/process/RunDescriptors.h"

#include <sys/types.h>

#include <csignal>
#include <initializer_list>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace qf::native {

/// A child of this process. It is identified by a pidfd or, if the system has none, by its process
/// identifier, which is not reused until this process has taken the child's status.
class Child : public ChildProcess {
public:
    /// Makes a child that has not begun yet and will write to `output`, the pipes that can end with
    /// it.
    explicit Child(std::vector<std::weak_ptr<qf::Pipe>> output) : output_(std::move(output)) {}

    /// Takes over a process that nobody else waits for. Never fails.
    void begin(pid_t identifier);

    long processIdentifier() const override { return identifier_; }
    bool isRunning() override;
    void waitUntilExit() override;
    void terminate() override;
    void kill() override;
    void endOutputWithChild() override;
    int terminationStatus() override;

    /// Returns a descriptor that is readable once the child has ended; negative if the system has
    /// none.
    int descriptor() const { return descriptor_.get(); }

private:
    /// Returns whether the child has ended, and if so reaps it. The caller must hold the mutex.
    bool hasEnded();
    bool wasKilled();
    void send(std::initializer_list<int> signals);
    void stopWaitingForOutput() const;
    /// Waits until the child has ended or is stopped, and returns the signal that stopped it.
    std::optional<int> waitForStop() const;
    SystemResult<siginfo_t> waitFor(int options) const;

    pid_t identifier_ = 0;
    RunDescriptor descriptor_;
    const std::vector<std::weak_ptr<qf::Pipe>> output_;
    std::mutex mutex_;
    std::optional<int> status_;
    bool wasKilled_ = false;
    bool endsOutput_ = false;
};

} // namespace qf::native
