#pragma once

#include "platform/ProcessLauncher.h"
#include "platform/foundation/Value.h"

#include <memory>
#include <mutex>
#include <utility>

namespace qf {

/// A program to run as a child through the installed ProcessLauncher: described first, launched
/// once, then watched. Any thread may call every member.
class Process {
public:
    /// Makes a process for the description, without launching it.
    explicit Process(ProcessDescription description) : description_(std::move(description)) {}

    /// Returns the description.
    const ProcessDescription& description() const { return description_; }

    /// Launches the child and returns when its program has begun. Throws as
    /// ProcessLauncher::launch, and qf::Exception "NSInvalidArgumentException" if it was
    /// launched already.
    void launch();

    /// Returns whether the child was launched, even if it has ended since.
    bool isLaunched() const;

    /// Returns whether the child was launched and has not ended.
    bool isRunning() const;

    /// Waits until the child has ended. Throws qf::Exception "NSInvalidArgumentException" if
    /// it was not launched.
    void waitUntilExit() const;

    /// Asks the child to end, as ChildProcess::terminate does. Throws qf::Exception
    /// "NSInvalidArgumentException" if it was not launched.
    void terminate() const;

    /// Does what ChildProcess::endOutputWithChild does, or nothing if the child was not launched.
    void endOutputWithChild() const;

    /// Returns the exit status, or the number of the signal that ended the child. Throws
    /// qf::Exception "NSInvalidArgumentException" if it was not launched or still runs.
    int terminationStatus() const;

    /// Returns the child's process identifier. Throws qf::Exception
    /// "NSInvalidArgumentException" if it was not launched.
    long processIdentifier() const;

private:
    std::shared_ptr<ChildProcess> launched() const;

    const ProcessDescription description_;
    mutable std::mutex mutex_;
    std::shared_ptr<ChildProcess> child_;
};

/// Returns what the child has written since the last read, waiting until there is data; no bytes
/// mean the end. Throws as Pipe::appendAvailable does.
Data availableData(Pipe& pipe);

} // namespace qf
