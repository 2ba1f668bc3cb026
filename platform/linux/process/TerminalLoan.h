#pragma once

#include "platform/linux/posix/FileDescriptor.h"

#include <sys/types.h>
#include <termios.h>

#include <functional>
#include <mutex>
#include <optional>

namespace platform::native {

/// The program's controlling terminal, lent to a group of processes until the loan ends. Only one
/// loan at a time: others wait.
class TerminalLoan {
public:
    TerminalLoan() = default;

    /// Takes the terminal back, where it was lent.
    ~TerminalLoan();
    TerminalLoan(const TerminalLoan&) = delete;
    TerminalLoan& operator=(const TerminalLoan&) = delete;
    TerminalLoan(TerminalLoan&&) = delete;
    TerminalLoan& operator=(TerminalLoan&&) = delete;

    /// Makes the group the one that may read from the terminal and change it. False when the
    /// program has no terminal, or is not the one that may, or `isWanted` is no longer true while
    /// another loan lasts.
    bool lendTo(pid_t group, const std::function<bool()>& isWanted);

    /// Has the terminal, once it is taken back, work as it did before it was lent.
    void undoChanges() { undoesChanges_ = true; }

private:
    std::unique_lock<std::timed_mutex> turn_;
    FileDescriptor terminal_;
    std::optional<termios> modes_;
    bool undoesChanges_ = false;
};

} // namespace platform::native
