#include "platform/linux/process/Child.h"

#include "platform/linux/process/ChildReaper.h"
#include "platform/linux/process/LaunchFailure.h"

#include <poll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

namespace platform::native {

namespace {

/// The status of a child that somebody else in this process has waited for.
constexpr int unknownStatus = -1;

FileDescriptor openChild(pid_t identifier) {
    return aboveStandardStreams(
        FileDescriptor(static_cast<int>(::syscall(SYS_pidfd_open, identifier, 0))));
}

} // namespace

Child::Child(pid_t identifier) : identifier_(identifier), descriptor_(openChild(identifier)) {
    if (!descriptor_) {
        const int error = errno;
        ::kill(identifier_, SIGKILL);
        while (::waitpid(identifier_, nullptr, 0) < 0 && errno == EINTR) {
        }
        throw resourceFailure(error, "NSGenericException", "descriptor for a child");
    }
}

bool Child::hasEnded() {
    if (status_) {
        return true;
    }
    siginfo_t info{};
    int result = 0;
    do {
        result = ::waitid(P_PIDFD, static_cast<id_t>(descriptor_.get()), &info, WEXITED | WNOHANG);
    } while (result < 0 && errno == EINTR);
    if (result < 0) {
        status_ = unknownStatus;
    } else if (info.si_pid != 0) {
        status_ = info.si_status;
    }
    return status_.has_value();
}

bool Child::isRunning() {
    const std::lock_guard lock(mutex_);
    return !hasEnded();
}

void Child::waitUntilExit() {
    ChildReaper::shared().leave(*this);
    do {
        pollfd ended{descriptor_.get(), POLLIN, 0};
        ::poll(&ended, 1, -1);
    } while (isRunning());
}

void Child::terminate() {
    const std::lock_guard lock(mutex_);
    if (hasEnded()) {
        return;
    }
    // The identifier is the child's as long as nobody has taken its status, and so is the group's.
    ::kill(-identifier_, SIGTERM);
    if (::getpgid(identifier_) != identifier_) {
        ::kill(identifier_, SIGTERM);
    }
}

int Child::terminationStatus() {
    const std::lock_guard lock(mutex_);
    return hasEnded() ? *status_ : unknownStatus;
}

} // namespace platform::native
