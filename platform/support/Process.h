#pragma once

#include "platform/ProcessLauncher.h"
#include "platform/foundation/Value.h"

#include <memory>
#include <mutex>
#include <utility>

namespace platform {

/// A program to run as a child, through the ProcessLauncher that is installed: described first,
/// launched once, then watched. Any thread may call every member.
class Process {
public:
    /// A program to run as described, which is not launched yet.
    explicit Process(ProcessDescription description) : description_(std::move(description)) {}

    /// What the program was described by.
    const ProcessDescription& description() const { return description_; }

    /// Launches the child and returns when its program has begun. Throws as
    /// ProcessLauncher::launch, and platform::Exception "NSInvalidArgumentException" when it is
    /// launched already.
    void launch();

    /// Whether the child is launched, also when it has ended since.
    bool isLaunched() const;

    /// Whether the child is launched and has not ended.
    bool isRunning() const;

    /// Returns when the child has ended. Throws platform::Exception "NSInvalidArgumentException"
    /// when it is not launched.
    void waitUntilExit() const;

    /// Asks the child to end, as ChildProcess::terminate. Throws platform::Exception
    /// "NSInvalidArgumentException" when it is not launched.
    void terminate() const;

    /// As ChildProcess::endOutputWithChild. Nothing happens when the child is not launched.
    void endOutputWithChild() const;

    /// The exit status, or the number of the signal that ended the child. Throws
    /// platform::Exception "NSInvalidArgumentException" when it is not launched or still runs.
    int terminationStatus() const;

    /// The number by which the system knows the child. Throws platform::Exception
    /// "NSInvalidArgumentException" when it is not launched.
    long processIdentifier() const;

private:
    std::shared_ptr<ChildProcess> launched() const;

    const ProcessDescription description_;
    mutable std::mutex mutex_;
    std::shared_ptr<ChildProcess> child_;
};

/// What the child has written since the last read, waiting until there is something; no bytes mean
/// the end. Throws as Pipe::appendAvailable.
Data availableData(Pipe& pipe);

} // namespace platform
