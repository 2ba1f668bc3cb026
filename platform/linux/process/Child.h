#pragma once

#include "platform/ProcessLauncher.h"
#include "platform/linux/posix/FileDescriptor.h"

#include <sys/types.h>

#include <mutex>
#include <optional>

namespace platform::native {

/// A child of this process, known by a descriptor, so that no other process is ever taken for it.
class Child : public ChildProcess {
public:
    /// Takes over a child that nobody else waits for. A child for which the system has no
    /// descriptor left is killed, and platform::Exception "NSGenericException" thrown.
    explicit Child(pid_t identifier);

    long processIdentifier() const override { return identifier_; }
    bool isRunning() override;
    void waitUntilExit() override;
    void terminate() override;
    int terminationStatus() override;

    /// Readable once the child has ended.
    int descriptor() const { return descriptor_.get(); }

private:
    /// Takes the status of a child that has ended, after which the system forgets the child. The
    /// caller holds the mutex.
    bool hasEnded();

    const pid_t identifier_;
    FileDescriptor descriptor_;
    std::mutex mutex_;
    std::optional<int> status_;
};

} // namespace platform::native
