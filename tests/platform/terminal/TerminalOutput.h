#pragma once

#include "platform/linux/posix/FileDescriptor.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <array>
#include <string>

/// A terminal in the place of standard output.
class TerminalOutput {
public:
    TerminalOutput() {
        int ours = -1;
        int theirs = -1;
        EXPECT_EQ(::openpty(&ours, &theirs, nullptr, nullptr, nullptr), 0);
        ours_ = qf::native::FileDescriptor(ours);
        ::dup2(theirs, STDOUT_FILENO);
        ::close(theirs);
    }
    ~TerminalOutput() { ::dup2(former_.get(), STDOUT_FILENO); }
    TerminalOutput(const TerminalOutput&) = delete;
    TerminalOutput& operator=(const TerminalOutput&) = delete;
    TerminalOutput(TerminalOutput&&) = delete;
    TerminalOutput& operator=(TerminalOutput&&) = delete;

    void resize(unsigned short columns) const {
        const winsize size{24, columns, 0, 0};
        EXPECT_EQ(::ioctl(ours_.get(), TIOCSWINSZ, &size), 0);
    }

    /// Returns what was written to the terminal directly, and not to a console.
    std::string written() const {
        std::array<char, 1000> text{};
        pollfd output{ours_.get(), POLLIN, 0};
        const auto size =
            ::poll(&output, 1, 0) == 1 ? ::read(ours_.get(), text.data(), text.size()) : 0;
        return {text.data(), static_cast<std::size_t>(size)};
    }

private:
    qf::native::FileDescriptor former_{::dup(STDOUT_FILENO)};
    qf::native::FileDescriptor ours_;
};
