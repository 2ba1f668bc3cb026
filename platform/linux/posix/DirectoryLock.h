#pragma once

#include "platform/linux/posix/FileDescriptor.h"

#include <chrono>
#include <string>

namespace qf::native {

/// The lock on a directory, for a scope, which only those respect who take it too. A directory that
/// is missing or cannot be locked needs no lock. Not shared between threads.
class DirectoryLock {
public:
    /// Takes no lock yet.
    explicit DirectoryLock(const std::string& path);
    ~DirectoryLock();
    DirectoryLock(DirectoryLock&&) = default;
    DirectoryLock& operator=(DirectoryLock&&) = delete;
    DirectoryLock(const DirectoryLock&) = delete;
    DirectoryLock& operator=(const DirectoryLock&) = delete;

    /// Waits for the lock. Returns false if somebody else has it until the moment `end`.
    bool lockUntil(std::chrono::steady_clock::time_point end) const;

    /// Gives the lock back, if this object has it.
    void unlock() const;

private:
    bool tryToLock() const;

    FileDescriptor directory_;
};

} // namespace qf::native
