#include "platform/linux/process/TerminalLoan.h"

#include <fcntl.h>
#include <unistd.h>

#include <csignal>

namespace platform::native {

namespace {

/// Never destroyed: detached threads may still wait for tools while the process ends.
std::mutex& borrowers() {
    static auto& only = *new std::mutex;
    return only;
}

} // namespace

bool TerminalLoan::lendTo(pid_t group) {
    if (!terminal_) {
        turn_ = std::unique_lock(borrowers());
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

/// The program is in the background now, where taking the terminal would stop it if the signal for
/// that were not blocked.
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

} // namespace platform::native
