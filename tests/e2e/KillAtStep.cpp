// Kills a program between two of its changes to the file system or two children that it starts:
//
//   kill-at-step PROCESS-ID STEP
//
// Prints "ready" once every thread of the program is watched. The program is killed before its
// STEPth step, counted from 1, and the status is 0; STEP 0 is never reached. If the program ends by
// itself, the number of its steps is printed, and the status is 1. A step is a system call that
// creates, writes, renames or removes a file or a directory; starting a child process is two steps,
// before it and when the child runs.

#include <fcntl.h>
#include <linux/sched.h>
#include <sys/ptrace.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <set>
#include <string>

namespace {

using CallInfo = __ptrace_syscall_info;

constexpr auto changes = std::to_array<std::uint64_t>({
#ifdef SYS_rename // Newer architectures have only the calls that name a directory.
    SYS_rename, SYS_unlink, SYS_rmdir, SYS_mkdir, SYS_symlink, SYS_link,
#endif
    SYS_renameat, SYS_renameat2, SYS_unlinkat, SYS_mkdirat, SYS_symlinkat, SYS_linkat});

[[noreturn]] void fail(const char* what) {
    std::cerr << what << '\n';
    std::_Exit(2);
}

void* asPointer(std::uint64_t value) {
    return reinterpret_cast<void*>(static_cast<std::uintptr_t>(value)); // what ptrace takes
}

class Watch {
public:
    Watch(pid_t process, std::uint64_t step) : process_(process), step_(step) {}

    void begin() {
        constexpr std::uint64_t options = PTRACE_O_TRACECLONE | PTRACE_O_TRACESYSGOOD;
        for (const auto& entry : std::filesystem::directory_iterator(taskDirectory())) {
            const auto thread = static_cast<pid_t>(std::stol(entry.path().filename()));
            if (::ptrace(PTRACE_SEIZE, thread, nullptr, asPointer(options)) != 0 ||
                ::ptrace(PTRACE_INTERRUPT, thread, nullptr, nullptr) != 0) {
                fail("the program cannot be watched");
            }
            unwatched_.insert(thread);
        }
    }

    /// Returns whether the program was killed; otherwise it has ended by itself.
    bool run() {
        int status = 0;
        for (;;) {
            const pid_t thread = ::waitpid(-1, &status, __WALL);
            if (thread < 0) {
                return isKilled_;
            }
            if (WIFSTOPPED(status)) {
                serve(thread, status);
            }
        }
    }

    std::uint64_t steps() const { return count_; }

private:
    std::string taskDirectory() const { return "/proc/" + std::to_string(process_) + "/task"; }

    void serve(pid_t thread, int status) {
        const int number = WSTOPSIG(status);
        int signal = 0;
        if (number == (SIGTRAP | 0x80)) {
            lookAtCall(thread);
        } else if (status >> 16 == 0) {
            signal = number; // on its way to the program
        }
        ::ptrace(PTRACE_SYSCALL, thread, nullptr, asPointer(static_cast<std::uint64_t>(signal)));
        if (unwatched_.erase(thread) == 1 && unwatched_.empty()) {
            std::cout << "ready" << std::endl;
        }
    }

    void lookAtCall(pid_t thread) {
        CallInfo info{};
        if (::ptrace(PTRACE_GET_SYSCALL_INFO, thread, asPointer(sizeof info), &info) <= 0) {
            return;
        }
        if (info.op == PTRACE_SYSCALL_INFO_EXIT) {
            if (starting_.erase(thread) == 1) {
                count();
            }
            return;
        }
        const bool starts = startsChild(thread, info);
        if (starts) {
            starting_.insert(thread);
        }
        if (starts || changesFiles(info)) {
            count();
        }
    }

    bool changesFiles(const CallInfo& info) const {
        const auto call = info.entry.nr;
        if (call == SYS_openat) {
            return (info.entry.args[2] & O_CREAT) != 0;
        }
        if (call == SYS_write) {
            const auto file =
                "/proc/" + std::to_string(process_) + "/fd/" + std::to_string(info.entry.args[0]);
            struct stat status {};
            return ::stat(file.c_str(), &status) == 0 && S_ISREG(status.st_mode);
        }
        return std::find(changes.begin(), changes.end(), call) != changes.end();
    }

    static bool startsChild(pid_t thread, const CallInfo& info) {
        switch (info.entry.nr) {
#ifdef SYS_fork
        case SYS_fork:
        case SYS_vfork:
            return true;
#endif
        case SYS_clone:
            return (info.entry.args[0] & CLONE_THREAD) == 0;
        case SYS_clone3: // Its flags are the first word of a structure.
            return (::ptrace(PTRACE_PEEKDATA, thread, asPointer(info.entry.args[0]), nullptr) &
                    CLONE_THREAD) == 0;
        default:
            return false;
        }
    }

    void count() {
        if (++count_ == step_) {
            isKilled_ = true;
            ::kill(process_, SIGKILL);
        }
    }

    pid_t process_;
    std::uint64_t step_;
    std::uint64_t count_ = 0;
    bool isKilled_ = false;
    std::set<pid_t> unwatched_;
    std::set<pid_t> starting_;
};

} // namespace

int main(int count, char** words) {
    if (count != 3) {
        fail("usage: kill-at-step PROCESS-ID STEP");
    }
    Watch watch(static_cast<pid_t>(std::stol(words[1])), std::stoull(words[2]));
    watch.begin();
    if (watch.run()) {
        return 0;
    }
    std::cout << watch.steps() << '\n';
    return 1;
}
