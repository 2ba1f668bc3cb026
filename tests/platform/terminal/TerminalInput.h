#pragma once

#include "platform/linux/posix/FileDescriptor.h"

#include <gtest/gtest.h>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

#include <string_view>

/// A terminal in the place of standard input.
class TerminalInput {
public:
    TerminalInput() {
        int ours = -1;
        int theirs = -1;
        EXPECT_EQ(::openpty(&ours, &theirs, nullptr, nullptr, nullptr), 0);
        ours_ = qf::native::FileDescriptor(ours);
        ::dup2(theirs, STDIN_FILENO);
        ::close(theirs);
    }
    ~TerminalInput() { ::dup2(former_.get(), STDIN_FILENO); }
    TerminalInput(const TerminalInput&) = delete;
    TerminalInput& operator=(const TerminalInput&) = delete;
    TerminalInput(TerminalInput&&) = delete;
    TerminalInput& operator=(TerminalInput&&) = delete;

    void type(std::string_view text) const {
        EXPECT_EQ(::write(ours_.get(), text.data(), text.size()),
                  static_cast<ssize_t>(text.size()));
    }

    /// Whether the terminal shows what is typed.
    static bool echoes() {
        termios settings{};
        EXPECT_EQ(::tcgetattr(STDIN_FILENO, &settings), 0);
        return (settings.c_lflag & static_cast<tcflag_t>(ECHO)) != 0;
    }

private:
    qf::native::FileDescriptor former_{::dup(STDIN_FILENO)};
    qf::native::FileDescriptor ours_;
};
