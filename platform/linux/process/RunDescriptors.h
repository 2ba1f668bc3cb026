#pragma once

#include "platform/linux/posix/FileDescriptor.h"

#include <array>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <vector>

namespace qf::native {

/// The two ends of a pipe: data written to the second is read from the first.
using PipeEnds = std::array<FileDescriptor, 2>;

/// Counts the descriptors that runs of tools hold, so that a run for which none are left waits for
/// others to end. Any thread may call every member.
class RunDescriptors {
public:
    /// `patience` is how long to wait without any run releasing a descriptor.
    explicit RunDescriptors(std::chrono::steady_clock::duration patience) : patience_(patience) {}

    /// Returns the process's own instance, which is never destroyed.
    static RunDescriptors& shared();

    /// Record that a run has opened a descriptor, or closed one.
    void opened();
    void closed();

    /// Opens a pipe without waiting. Throws as openPipes does.
    static PipeEnds openPipe();

    /// Opens `count` pipes, all or none. Waits while other runs hold the descriptors that it needs,
    /// and leaves some to the rest of the program as long as there are runs to wait for. Throws
    /// qf::Exception "NSFileHandleOperationException" if the system has none left.
    std::vector<PipeEnds> openPipes(std::size_t count);

private:
    bool waitForClosing(std::uint64_t closings);
    std::uint64_t closings() const;

    const std::chrono::steady_clock::duration patience_;
    /// Held by the one run that acquires descriptors, so that two runs cannot deadlock.
    std::mutex turn_;
    mutable std::mutex mutex_;
    std::condition_variable closed_;
    std::uint64_t open_ = 0;
    std::uint64_t closings_ = 0;
};

/// A descriptor that a run holds, counted in RunDescriptors::shared() while it is open.
class RunDescriptor {
public:
    RunDescriptor() = default;
    explicit RunDescriptor(FileDescriptor descriptor);
    ~RunDescriptor() { reset(); }
    RunDescriptor(RunDescriptor&&) = default;
    RunDescriptor& operator=(RunDescriptor&& other) noexcept;
    RunDescriptor(const RunDescriptor&) = delete;
    RunDescriptor& operator=(const RunDescriptor&) = delete;

    explicit operator bool() const { return static_cast<bool>(descriptor_); }
    int get() const { return descriptor_.get(); }

    /// Closes the descriptor.
    void reset();

private:
    FileDescriptor descriptor_;
};

} // namespace qf::native
