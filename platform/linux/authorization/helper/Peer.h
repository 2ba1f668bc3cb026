#pragma once

#include "platform/linux/posix/FileDescriptor.h"

#include <sys/socket.h>
#include <sys/types.h>

namespace qf::native::helper {

/// The process that made the connection and started this one. It is held, so that no other process
/// is taken for it, even one that has its number by now.
class Peer {
public:
    /// Takes hold of the process that the connection says has made it. Throws a std::runtime_error
    /// when this one is not its child.
    explicit Peer(pid_t process);

    /// Whether a message just received is from this very process, which still runs.
    bool hasSent(const ucred& sender) const;

    /// To be waited for: readable when the process has ended.
    int descriptor() const { return descriptor_.get(); }

private:
    pid_t number_;
    FileDescriptor descriptor_;
};

} // namespace qf::native::helper
