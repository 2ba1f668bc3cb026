#include "platform/linux/authorization/helper/Peer.h"

#include <poll.h>
#include <unistd.h>

#include <stdexcept>

extern "C" { // which the header of the C library 2.36 leaves out
#include <sys/pidfd.h>
}

namespace qf::native::helper {

// While a process is the parent of this one, its number is no other's.
Peer::Peer(pid_t process) : number_(process), descriptor_(::pidfd_open(process, 0)) {
    if (!descriptor_ || ::getppid() != number_) {
        throw std::runtime_error("its parent has not made the connection");
    }
}

bool Peer::hasSent(const ucred& sender) const {
    pollfd end{descriptor_.get(), POLLIN, 0};
    return sender.pid == number_ && ::poll(&end, 1, 0) == 0;
}

} // namespace qf::native::helper
