#pragma once

#include "platform/foundation/Export.h"

#include <string>

namespace qf {

/// A lock that keeps a user from running an application twice at the same time.
///
/// The kernel releases the lock when the process ends, however it ends; the file that carries it
/// stays and means nothing by itself. Child processes do not hold it.
class QF_EXPORT InstanceLock {
public:
    /// Takes the lock of the application of this name. Its file is in the user's runtime directory,
    /// XDG_RUNTIME_DIR or else /run/user/ and the user's number, or in /tmp if there is none. If
    /// neither can be used, the application runs without a lock: better twice than never.
    explicit InstanceLock(const std::string& applicationName);
    ~InstanceLock();
    InstanceLock(const InstanceLock&) = delete;
    InstanceLock& operator=(const InstanceLock&) = delete;
    InstanceLock(InstanceLock&&) = delete;
    InstanceLock& operator=(InstanceLock&&) = delete;

    /// Returns whether another process of the same user has the lock.
    bool isHeldByAnother() const { return heldByAnother_; }

    /// Returns once this object has the lock, if that is possible at all.
    void waitUntilHeld();

    /// Returns the absolute path of the lock's file, whether or not that could be opened.
    const std::string& path() const { return path_; }

    /// Sets the date of the lock's file, which whoever has the lock may watch.
    void touch() const;

private:
    std::string path_;
    int file_;
    bool heldByAnother_;
};

} // namespace qf
