#pragma once

#include "platform/linux/posix/FileDescriptor.h"

#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <fstream>
#include <optional>
#include <string>

/// A fork of this process that does some work, until the end of a scope at the latest.
class ForkedProcess {
public:
    /// The work returns the process's status.
    template <class Work>
    explicit ForkedProcess(Work work) : number_(::fork()) {
        if (number_ == 0) {
            ::_exit(work());
        }
    }
    ~ForkedProcess() {
        ::kill(number_, SIGKILL);
        ::waitpid(number_, nullptr, 0);
    }
    ForkedProcess(const ForkedProcess&) = delete;
    ForkedProcess& operator=(const ForkedProcess&) = delete;
    ForkedProcess(ForkedProcess&&) = delete;
    ForkedProcess& operator=(ForkedProcess&&) = delete;

    pid_t number() const { return number_; }

private:
    const pid_t number_;
};

/// A process that traces this one, for a scope, if the system lets it.
class Tracer {
public:
    Tracer() {
        using qf::native::FileDescriptor;
        std::array<int, 2> ends{-1, -1};
        EXPECT_EQ(::pipe(ends.data()), 0);
        const FileDescriptor told(ends[0]);
        FileDescriptor tell(ends[1]);
        ::prctl(PR_SET_PTRACER, PR_SET_PTRACER_ANY);
        process_.emplace([&tell] {
            const pid_t traced = ::getppid();
            const char result = ::ptrace(PTRACE_SEIZE, traced, nullptr, nullptr) == 0 ? 'y' : 'n';
            return ::write(tell.get(), &result, 1) == 1 ? passSignalsOn(traced) : 1;
        });
        tell.reset();
        char result = 0;
        isAttached_ = ::read(told.get(), &result, 1) == 1 && result == 'y';
    }

    bool isAttached() const { return isAttached_; }
    pid_t process() const { return process_->number(); }

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

    std::optional<ForkedProcess> process_;
    bool isAttached_ = false;
};

/// A process that traces the one whose number is written into a file, and never takes note of its
/// end, which the others do not see then.
class EndHidingTracer {
public:
    explicit EndHidingTracer(const std::string& file)
        : process_([&file] {
              pid_t traced = 0;
              while (!(std::ifstream(file) >> traced)) {
              }
              ::ptrace(PTRACE_SEIZE, traced, nullptr, nullptr);
              return ::pause();
          }) {}

private:
    const ForkedProcess process_;
};
