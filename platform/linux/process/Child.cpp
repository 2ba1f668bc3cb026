#include "platform/linux/process/Child.h"

#include "platform/linux/posix/SystemCall.h"
#include "platform/linux/process/ChildReaper.h"
#include "platform/linux/process/TerminalLoan.h"

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

extern "C" { // missing in the headers of C library 2.36
#include <sys/pidfd.h>
}

namespace qf::native {

namespace {

/// The status of a child that other code in this process has waited for.
constexpr int unknownStatus = -1;

/// Returns whether this signal stops a process that uses a terminal that it has not got.
bool isForTerminal(int signal) {
    switch (signal) {
    case SIGTTIN:
    case SIGTTOU:
        return true;
    default:
        return false;
    }
}

} // namespace

void Child::begin(pid_t identifier) {
    identifier_ = identifier;
    descriptor_ = RunDescriptor(aboveStandardStreams(FileDescriptor(::pidfd_open(identifier, 0))));
}

SystemResult<siginfo_t> Child::waitFor(int options) const {
    const auto type = descriptor_ ? P_PIDFD : P_PID;
    const auto which = static_cast<id_t>(descriptor_ ? descriptor_.get() : identifier_);
    siginfo_t info{};
    const auto waited =
        checked(retryOnEintr([&] { return ::waitid(type, which, &info, options); }));
    if (!waited) {
        return Unexpected(waited.error());
    }
    return info;
}

bool Child::hasEnded() {
    if (status_) {
        return true;
    }
    const auto end = waitFor(WEXITED | WNOHANG);
    if (!end) {
        status_ = unknownStatus;
    } else if (end->si_pid != 0) {
        status_ = end->si_status;
        wasKilled_ = end->si_code != CLD_EXITED;
    }
    if (status_ && endsOutput_) {
        stopWaitingForOutput();
    }
    return status_.has_value();
}

bool Child::wasKilled() {
    const std::lock_guard lock(mutex_);
    return wasKilled_;
}

void Child::stopWaitingForOutput() const {
    for (const auto& output : output_) {
        if (const auto pipe = output.lock()) {
            pipe->stopWaiting();
        }
    }
}

bool Child::isRunning() {
    const std::lock_guard lock(mutex_);
    return !hasEnded();
}

/// A child is in its own process group, which is not in the foreground: the system stops it when it
/// uses the terminal. Only then does the group get the terminal, so that typed signals do not end
/// tools that never use it. A tool that exits by itself may leave the terminal changed, as stty
/// does; one that was killed had no time to restore it.
void Child::waitUntilExit() {
    ChildReaper::shared().leave(*this);
    TerminalLoan loan;
    while (isRunning()) {
        const auto stop = waitForStop();
        if (stop && isForTerminal(*stop) && ::getsid(identifier_) == ::getsid(0) &&
            loan.lendTo(::getpgid(identifier_), [this] { return isRunning(); })) {
            ::kill(-::getpgid(identifier_), SIGCONT);
        }
    }
    if (wasKilled()) {
        loan.undoChanges();
    }
}

std::optional<int> Child::waitForStop() const {
    const auto change = waitFor(WEXITED | WSTOPPED | WNOWAIT);
    if (!change || change->si_code != CLD_STOPPED) {
        return std::nullopt;
    }
    static_cast<void>(waitFor(WSTOPPED | WNOHANG)); // It is reported once.
    return change->si_status;
}

/// A stopped process acts on a signal only when it is continued.
void Child::terminate() {
    send({SIGTERM, SIGCONT});
}

void Child::kill() {
    send({SIGKILL});
}

/// The identifiers of the child and its group are not reused until its status has been taken.
void Child::send(std::initializer_list<int> signals) {
    const std::lock_guard lock(mutex_);
    if (hasEnded()) {
        return;
    }
    const bool leftItsGroup = ::getpgid(identifier_) != identifier_;
    for (const int signal : signals) {
        ::kill(-identifier_, signal);
        if (leftItsGroup) {
            ::kill(identifier_, signal);
        }
    }
}

void Child::endOutputWithChild() {
    const std::lock_guard lock(mutex_);
    endsOutput_ = true;
    if (hasEnded()) {
        stopWaitingForOutput();
    }
}

int Child::terminationStatus() {
    const std::lock_guard lock(mutex_);
    return hasEnded() ? *status_ : unknownStatus;
}

} // namespace qf::native
