#pragma once

#include "platform/linux/posix/FileDescriptor.h"

#include <sys/types.h>
#include <termios.h>

#include <functional>
#include <mutex>
#include <optional>

namespace qf::native {

/// A loan of the program's controlling terminal to a process group, until this is destroyed. There
/// is only one loan at a time: others wait.
class TerminalLoan {
public:
    TerminalLoan() = default;

    /// Takes the terminal back if it was lent.
    ~TerminalLoan();
    TerminalLoan(const TerminalLoan&) = delete;
    TerminalLoan& operator=(const TerminalLoan&) = delete;
    TerminalLoan(TerminalLoan&&) = delete;
    TerminalLoan& operator=(TerminalLoan&&) = delete;

    /// Makes the group the terminal's foreground group. Returns false if the program has no
    /// terminal, is not in the foreground itself, or `isWanted` becomes false while another loan
    /// lasts.
    bool lendTo(pid_t group, const std::function<bool()>& isWanted);

    /// Restores the terminal's former settings when it is taken back.
    void undoChanges() { undoesChanges_ = true; }

private:
    std::unique_lock<std::timed_mutex> turn_;
    FileDescriptor terminal_;
    std::optional<termios> modes_;
    bool undoesChanges_ = false;
};

} // namespace qf::native
