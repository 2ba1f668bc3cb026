#include "platform/linux/posix/DirectoryLock.h"

#include "platform/linux/posix/SystemCall.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>
#include <thread>

namespace qf::native {

DirectoryLock::DirectoryLock(const std::string& path)
    : directory_(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
}

DirectoryLock::~DirectoryLock() {
    unlock();
}

/// A process forked meanwhile has the descriptor too, so closing it is not enough.
void DirectoryLock::unlock() const {
    if (directory_) {
        ::flock(directory_.get(), LOCK_UN);
    }
}

/// A blocking flock() would never return while the lock's owner is stopped.
bool DirectoryLock::lockUntil(std::chrono::steady_clock::time_point end) const {
    constexpr std::chrono::milliseconds pause(1);
    while (!tryToLock()) {
        if (std::chrono::steady_clock::now() >= end) {
            return false;
        }
        std::this_thread::sleep_for(pause);
    }
    return true;
}

bool DirectoryLock::tryToLock() const {
    return !directory_ ||
           retryOnEintr([this] { return ::flock(directory_.get(), LOCK_EX | LOCK_NB); }) == 0 ||
           errno != EWOULDBLOCK;
}

} // namespace qf::native
