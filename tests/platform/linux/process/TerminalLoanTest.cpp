#include "platform/linux/process/TerminalLoan.h"

#include "tests/platform/linux/process/ForkedProcess.h"

#include <gtest/gtest.h>

#include <pty.h>

#include <csignal>
#include <memory>

using qf::native::FileDescriptor;
using qf::native::TerminalLoan;

namespace {

/// The status of a body in which an expectation was not met.
constexpr int unmet = 1;

bool always() {
    return true;
}

/// Runs `body` in a process that has a terminal, of which it is the foreground: its exit status.
template <class Body>
int statusOnTerminal(Body body) {
    int terminal = -1;
    const pid_t process = ::forkpty(&terminal, nullptr, nullptr, nullptr);
    if (process == 0) {
        ::_exit(body());
    }
    const FileDescriptor closer(terminal);
    return exitStatusOf(process);
}

/// A process that leads a group and lives until the scope's end.
class OtherGroup {
public:
    OtherGroup()
        : leader_(forked([] {
              ::setpgid(0, 0);
              return ::pause();
          })) {
        ::setpgid(leader_, leader_);
    }
    ~OtherGroup() {
        ::kill(leader_, SIGKILL);
        ::waitpid(leader_, nullptr, 0);
    }
    OtherGroup(const OtherGroup&) = delete;
    OtherGroup& operator=(const OtherGroup&) = delete;
    OtherGroup(OtherGroup&&) = delete;
    OtherGroup& operator=(OtherGroup&&) = delete;

    pid_t leader() const { return leader_; }

private:
    pid_t leader_;
};

pid_t foreground() {
    return ::tcgetpgrp(STDIN_FILENO);
}

TEST(TerminalLoan, LastsUntilTheScopesEnd) {
    EXPECT_EQ(statusOnTerminal([] {
                  const OtherGroup group;
                  {
                      TerminalLoan loan;
                      if (!loan.lendTo(group.leader(), always) || foreground() != group.leader()) {
                          return unmet;
                      }
                  }
                  return foreground() == ::getpgrp() ? 0 : unmet;
              }),
              0);
}

TEST(TerminalLoan, LeavesTheTerminalToTheNextLoan) {
    EXPECT_EQ(statusOnTerminal([] {
                  const OtherGroup group;
                  { TerminalLoan().lendTo(group.leader(), always); }
                  TerminalLoan next;
                  return next.lendTo(group.leader(), always) && foreground() == group.leader()
                             ? 0
                             : unmet;
              }),
              0);
}

TEST(TerminalLoan, IsRefusedToAProgramInTheBackground) {
    EXPECT_EQ(statusOnTerminal([] {
                  const auto formerly = foreground();
                  return exitStatusOf(forked([=] {
                      ::setpgid(0, 0);
                      const bool isLent = TerminalLoan().lendTo(::getpgrp(), always);
                      return !isLent && foreground() == formerly ? 0 : unmet;
                  }));
              }),
              0);
}

TEST(TerminalLoan, IsRefusedToAProgramWithoutATerminal) {
    const auto process = forked([] {
        ::setsid();
        return TerminalLoan().lendTo(::getpgrp(), always) ? unmet : 0;
    });

    EXPECT_EQ(exitStatusOf(process), 0);
}

TEST(TerminalLoan, KeepsNoOtherWaitingOnceItIsRefused) {
    const auto process = forked([] {
        ::setsid();
        TerminalLoan refused;
        if (refused.lendTo(::getpgrp(), always)) {
            return unmet;
        }
        bool waits = false;
        TerminalLoan().lendTo(::getpgrp(), [&waits] {
            waits = true;
            return false;
        });
        return waits ? unmet : 0;
    });

    EXPECT_EQ(exitStatusOf(process), 0);
}

} // namespace
