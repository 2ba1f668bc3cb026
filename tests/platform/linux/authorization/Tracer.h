#pragma once

#include "platform/linux/posix/FileDescriptor.h"

#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>

/// A process that traces this one, for a scope, if the system lets it.
class Tracer {
public:
    Tracer() {
        using platform::native::FileDescriptor;
        std::array<int, 2> ends{-1, -1};
        EXPECT_EQ(::pipe(ends.data()), 0);
        const FileDescriptor told(ends[0]);
        FileDescriptor tell(ends[1]);
        ::prctl(PR_SET_PTRACER, PR_SET_PTRACER_ANY);
        process_ = ::fork();
        if (process_ == 0) {
            const char result =
                ::ptrace(PTRACE_SEIZE, ::getppid(), nullptr, nullptr) == 0 ? 'y' : 'n';
            ::_exit(::write(tell.get(), &result, 1) == 1 ? ::pause() : 1);
        }
        tell.reset();
        char result = 0;
        isAttached_ = ::read(told.get(), &result, 1) == 1 && result == 'y';
    }
    ~Tracer() {
        ::kill(process_, SIGKILL);
        ::waitpid(process_, nullptr, 0);
    }
    Tracer(const Tracer&) = delete;
    Tracer& operator=(const Tracer&) = delete;
    Tracer(Tracer&&) = delete;
    Tracer& operator=(Tracer&&) = delete;

    bool isAttached() const { return isAttached_; }
    pid_t process() const { return process_; }

private:
    pid_t process_ = -1;
    bool isAttached_ = false;
};
