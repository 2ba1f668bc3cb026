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
            const pid_t traced = ::getppid();
            const char result = ::ptrace(PTRACE_SEIZE, traced, nullptr, nullptr) == 0 ? 'y' : 'n';
            ::_exit(::write(tell.get(), &result, 1) == 1 ? passSignalsOn(traced) : 1);
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
    /// Lets the traced process go on, which stops for every signal: one of its own children may
    /// end.
    static int passSignalsOn(pid_t traced) {
        constexpr int event = 16;
        for (int status = 0; ::waitpid(traced, &status, __WALL) == traced && WIFSTOPPED(status);) {
            const int signal = status >> event == 0 ? WSTOPSIG(status) : 0;
            ::ptrace(PTRACE_CONT, traced, nullptr, signal);
        }
        return ::pause();
    }

    pid_t process_ = -1;
    bool isAttached_ = false;
};
