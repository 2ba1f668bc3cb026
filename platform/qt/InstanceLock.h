#pragma once

#include <string>

namespace platform::qt {

/// Keeps a user from running an application twice at the same time.
///
/// The lock is the kernel's and goes with the process, however that ends; the file that carries it
/// stays and means nothing by itself. Processes that are started later do not hold it.
class InstanceLock {
public:
    /// Takes the lock of the application of this name. It lies in the user's runtime directory, or
    /// in /tmp where there is none. Where not even that can be used, the application runs without a
    /// lock: better twice than never.
    explicit InstanceLock(const std::string& applicationName);
    ~InstanceLock();
    InstanceLock(const InstanceLock&) = delete;
    InstanceLock& operator=(const InstanceLock&) = delete;
    InstanceLock(InstanceLock&&) = delete;
    InstanceLock& operator=(InstanceLock&&) = delete;

    /// Whether another process of the same user has the lock.
    bool isHeldByAnother() const { return heldByAnother_; }

private:
    int file_;
    bool heldByAnother_;
};

} // namespace platform::qt
