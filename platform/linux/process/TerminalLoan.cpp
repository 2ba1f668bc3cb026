#include "platform/linux/process/TerminalLoan.h"

#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <csignal>

namespace qf::native {

namespace {

/// Never destroyed: detached threads may still wait for tools while the process ends.
std::timed_mutex& borrowers() {
    static auto& only = *new std::timed_mutex;
    return only;
}

/// Returns an empty lock if it is no longer wanted.
std::unique_lock<std::timed_mutex> takeTurn(const std::function<bool()>& isWanted) {
    constexpr std::chrono::milliseconds pause(50);
    std::unique_lock turn(borrowers(), std::defer_lock);
    while (!turn.try_lock_for(pause)) {
        if (!isWanted()) {
            break;
        }
    }
    return turn;
}

} // namespace

bool TerminalLoan::lendTo(pid_t group, const std::function<bool()>& isWanted) {
    if (!terminal_) {
        turn_ = takeTurn(isWanted);
        if (!turn_) {
            return false;
        }
        FileDescriptor terminal(::open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC));
        if (!terminal || ::tcgetpgrp(terminal.get()) != ::getpgrp()) {
            turn_.unlock();
            return false;
        }
        terminal_ = std::move(terminal);
        if (termios modes{}; ::tcgetattr(terminal_.get(), &modes) == 0) {
            modes_ = modes;
        }
    }
    return ::tcsetpgrp(terminal_.get(), group) == 0;
}

/// The program is in the background now, so taking the terminal would stop it unless the signal is
/// blocked.
TerminalLoan::~TerminalLoan() {
    if (!terminal_) {
        return;
    }
    sigset_t stopping{};
    sigset_t former{};
    sigemptyset(&stopping);
    sigaddset(&stopping, SIGTTOU);
    pthread_sigmask(SIG_BLOCK, &stopping, &former);
    ::tcsetpgrp(terminal_.get(), ::getpgrp());
    if (undoesChanges_ && modes_) {
        ::tcsetattr(terminal_.get(), TCSANOW, &*modes_);
    }
    pthread_sigmask(SIG_SETMASK, &former, nullptr);
}

} // namespace qf::native
