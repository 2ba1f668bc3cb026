#pragma once

#include "platform/linux/posix/FileDescriptor.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <utility>

/// Runs `body` in a copy of this process, which ends with the status that it returns.
template <class Body>
pid_t forked(Body body) {
    const pid_t child = ::fork();
    if (child == 0) {
        ::_exit(body());
    }
    return child;
}

/// The exit status of a child, which is waited for; negative when it ended in another way.
inline int exitStatusOf(pid_t child) {
    int status = 0;
    return ::waitpid(child, &status, 0) == child && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

/// A pipe between processes, by which one waits for another.
struct ForkedPipe {
    ForkedPipe() {
        std::array<int, 2> ends{-1, -1};
        static_cast<void>(::pipe2(ends.data(), O_CLOEXEC));
        reading = qf::native::FileDescriptor(ends[0]);
        writing = qf::native::FileDescriptor(ends[1]);
    }

    void tell() const { static_cast<void>(::write(writing.get(), "", 1)); }
    void waitUntilTold() const {
        char byte = 0;
        static_cast<void>(::read(reading.get(), &byte, 1));
    }

    /// Returns when nobody holds the writing end any more.
    void waitForEnd() {
        writing.reset();
        char byte = 0;
        while (::read(reading.get(), &byte, 1) > 0) {
        }
    }

    qf::native::FileDescriptor reading;
    qf::native::FileDescriptor writing;
};
