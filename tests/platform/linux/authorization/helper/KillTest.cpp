// What is left of a move when the helper, or the process that moves for it, is killed at any of its
// system calls.

#include "tests/platform/linux/authorization/helper/HelperHarness.h"
#include "tests/support/TemporaryDirectory.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ptrace.h>
#include <sys/socket.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

extern "C" { // which the header of the C library 2.36 leaves out
#include <sys/pidfd.h>
}

using qf::native::FileDescriptor;
using qf::native::helper::encodeRequest;
using qf::native::helper::Status;

namespace {

namespace fs = std::filesystem;

enum class Victim { helper, mover };

/// The signal that a traced process has stopped for, to be passed on to it; 0 for other stops.
int signalOf(int status) {
    constexpr int isEvent = 16;
    const int signal = WSTOPSIG(status);
    return status >> isEvent == 0 && signal != (SIGTRAP | 0x80) ? signal : 0;
}

/// Traces a helper and the first process that it makes.
class Executioner {
public:
    Executioner(pid_t helper, Victim victim) : helper_(helper), victim_(victim) {
        constexpr long options = PTRACE_O_TRACEFORK | PTRACE_O_TRACESYSGOOD;
        EXPECT_EQ(::ptrace(PTRACE_SEIZE, helper, nullptr, options), 0);
        EXPECT_EQ(::ptrace(PTRACE_INTERRUPT, helper, nullptr, nullptr), 0);
    }

    /// Kills the victim when it has made so many system calls or come back from them, and waits
    /// until nobody moves any more. Tells whether it made as many before it was done.
    bool killAt(int step) {
        int steps = 0;
        bool isKilled = false;
        for (int status = 0; !isKilled;) {
            const pid_t process = ::waitpid(-1, &status, __WALL);
            if (!WIFSTOPPED(status)) {
                if (process == mover_) {
                    break;
                }
                continue;
            }
            noteMover(process, status);
            const bool isVictim = process == (victim_ == Victim::helper ? helper_ : mover_);
            const bool isAtCall = WSTOPSIG(status) == (SIGTRAP | 0x80);
            if (isVictim && isAtCall && ++steps == step) {
                ::kill(process, SIGKILL);
                isKilled = true;
            } else {
                ::ptrace(PTRACE_SYSCALL, process, nullptr, signalOf(status));
            }
        }
        letGo(isKilled);
        return isKilled;
    }

    /// Kills the helper while the process that moves is held before or after so many system calls,
    /// and waits until that has ended too. Calls `observe` in between. Tells whether it made as
    /// many before it was done.
    template <class Observe>
    bool killHelperWhileMoverStandsAt(int step, Observe observe) {
        int steps = 0;
        for (int status = 0;;) {
            const pid_t process = ::waitpid(-1, &status, __WALL);
            if (!WIFSTOPPED(status)) {
                if (process == mover_) {
                    letGo(false);
                    return false;
                }
                continue;
            }
            noteMover(process, status);
            if (process == mover_ && steps++ == step) {
                break;
            }
            ::ptrace(PTRACE_SYSCALL, process, nullptr, signalOf(status));
        }
        observe();
        ::kill(helper_, SIGKILL);
        siginfo_t end{};
        EXPECT_EQ(::waitid(P_PID, static_cast<id_t>(helper_), &end, WEXITED | WNOWAIT), 0);
        ::ptrace(PTRACE_DETACH, mover_, nullptr, nullptr);
        letGo(true);
        return true;
    }

    pid_t mover() const { return mover_; }

private:
    /// The first process that the helper makes may stop before the helper does for having made it.
    void noteMover(pid_t stopped, int status) {
        constexpr int event = 16;
        unsigned long made = 0;
        if (mover_ < 0 && stopped != helper_) {
            mover_ = stopped;
        } else if (mover_ < 0 && status >> event == PTRACE_EVENT_FORK &&
                   ::ptrace(PTRACE_GETEVENTMSG, helper_, nullptr, &made) == 0) {
            mover_ = static_cast<pid_t>(made);
        }
        if (mover_ > 0 && !moversEnd_) {
            moversEnd_ = FileDescriptor(::pidfd_open(mover_, 0));
        }
        if (stopped == mover_) { // its tools are not traced
            ::ptrace(PTRACE_SETOPTIONS, mover_, nullptr, PTRACE_O_TRACESYSGOOD);
        }
    }

    /// Lets go of who is left, each of whom must be stopped for that.
    void letGo(bool isKilled) {
        const bool isHelperKilled = isKilled && victim_ == Victim::helper;
        if (isKilled && victim_ == Victim::mover) {
            ::waitpid(mover_, nullptr, __WALL); // before that the helper does not learn of it
        }
        for (const pid_t process : {helper_, mover_}) {
            const bool isGone =
                process < 0 || (process == helper_ ? isHelperKilled : !isHelperKilled);
            if (!isGone) {
                ::ptrace(PTRACE_INTERRUPT, process, nullptr, nullptr);
                for (int status = 0; ::waitpid(process, &status, __WALL) == process &&
                                     !WIFEXITED(status) && !WIFSIGNALED(status);) {
                    if (::ptrace(PTRACE_DETACH, process, nullptr, signalOf(status)) == 0) {
                        break;
                    }
                }
            }
        }
        if (moversEnd_ && isHelperKilled) {
            pollfd end{moversEnd_.get(), POLLIN, 0};
            EXPECT_EQ(::poll(&end, 1, 30'000), 1);
        }
    }

    pid_t helper_;
    Victim victim_;
    pid_t mover_ = -1;
    FileDescriptor moversEnd_;
};

} // namespace

class HelperKilled : public HelperTest {
protected:
    static void makeItem(const std::string& item) {
        fs::remove_all(item);
        makeFile(makeDirectory(makeDirectory(item) + "/inner") + "/file");
        content() = contentOf(item + "/inner/file");
    }
    static std::string& content() {
        static std::string text;
        return text;
    }
    static bool isWhole(const std::string& item) {
        return exists(item + "/inner/file") && contentOf(item + "/inner/file") == content();
    }
    static std::vector<std::string> request(const std::string& source, const std::string& target) {
        return {"-f", source, target};
    }

    /// Has a move interfered with. Tells what `interfere` returns.
    template <class Interfere>
    static bool moveWith(const std::string& source, const std::string& target, Victim victim,
                         Interfere interfere) {
        const auto move = encodeRequest("/bin/mv", request(source, target));
        TestedHelper helper;
        // What is only done for the first request is done before.
        const auto refused = encodeRequest("/bin/chmod", {"644", "/usr"});
        ::send(helper.connection(), refused->data(), refused->size(), 0);
        std::array<char, 64> reply{};
        EXPECT_GT(::recv(helper.connection(), reply.data(), reply.size(), 0), 0);
        Executioner executioner(helper.process(), victim);
        EXPECT_GT(::send(helper.connection(), move->data(), move->size(), 0), 0);
        const bool isKilled = interfere(executioner);
        helper.disconnect();
        helper.waitForEnd();
        return isKilled;
    }

    /// Kills the victim of a move at one step. Tells whether it made as many before it was done.
    static bool moveWithKill(const std::string& source, const std::string& target, Victim victim,
                             int step) {
        return moveWith(source, target, victim,
                        [=](Executioner& executioner) { return executioner.killAt(step); });
    }

    /// Kills the victim at one step after the other of a move that copies.
    void expectTheItemToBeWholeWhenKilled(Victim victim) {
        const std::string source = sandbox::rootsDirectory + "/item";
        const std::string target = usersDirectory() + "/item";
        bool isKilled = true;
        int step = 1;
        for (; isKilled; ++step) {
            makeItem(source);
            fs::remove_all(target);
            isKilled = moveWithKill(source, target, victim, step);
            ASSERT_TRUE(isWhole(source) || isWhole(target)) << "killed at step " << step;
            ASSERT_TRUE(!exists(target) || isWhole(target)) << "killed at step " << step;
        }
        EXPECT_GT(step, 30);
        EXPECT_TRUE(isWhole(target));
        EXPECT_FALSE(exists(source));
        // The last move has removed what the killed ones left.
        EXPECT_EQ(std::distance(fs::directory_iterator(usersDirectory()), {}), 1);
    }

    /// Kills the victim at one step after the other of a move that renames out of a user's
    /// directory into one of root's, and has the same asked for again each time. Tells how often
    /// the item was in neither of its places in between.
    static int expectTheItemToComeWhenAskedForAgain(Victim victim) {
        const std::string source =
            makeDirectory(sandbox::rootsDirectory + "/user", servedUser) + "/item 2";
        const std::string target = makeDirectory(sandbox::rootsDirectory + "/folder") + "/item";
        int timesHidden = 0;
        bool isKilled = true;
        int step = 1;
        for (; isKilled; ++step) {
            makeItem(source);
            fs::remove_all(target);
            isKilled = moveWithKill(source, target, victim, step);
            timesHidden += exists(source) || exists(target) ? 0 : 1;
            if (!exists(target)) {
                EXPECT_EQ(TestedHelper().run("/bin/mv", request(source, target)), Status::started)
                    << "killed at step " << step;
            }
            EXPECT_TRUE(isWhole(target)) << "killed at step " << step;
            EXPECT_FALSE(exists(source)) << "killed at step " << step;
        }
        EXPECT_GT(step, 30);
        return timesHidden;
    }

    static std::ptrdiff_t stagesIn(const std::string& directory) {
        return std::count_if(fs::directory_iterator(directory), {}, [](const auto& entry) {
            return entry.path().filename().string().starts_with(".qf-helper-");
        });
    }

    /// Kills the helper while the process that moves an item of this owner's is held, at every
    /// third step: before some calls and after others. A tool of a killed process may end in the
    /// middle of a call, so each item has its own path.
    static void expectNothingMoreToHappenWithoutTheHelper(
        uid_t owner, const std::string& target,
        const std::string& directory = sandbox::rootsDirectory) {
        constexpr int stride = 3;
        bool isKilled = true;
        int step = 0;
        for (; isKilled; step += stride) {
            const std::string source = directory + "/item" + std::to_string(step);
            fs::remove_all(target);
            makeItem(source);
            ASSERT_EQ(::chown(source.c_str(), owner, owner), 0); // what is in it stays root's
            bool wasMoved = false;
            isKilled = moveWith(source, target, Victim::helper, [&](Executioner& executioner) {
                return executioner.killHelperWhileMoverStandsAt(step,
                                                                [&] { wasMoved = exists(target); });
            });
            if (isKilled) {
                ASSERT_EQ(exists(target), wasMoved) << "held at step " << step;
                ASSERT_EQ(stagesIn(directory), 0) << "held at step " << step;
            }
        }
        EXPECT_GT(step, 30);
        EXPECT_TRUE(isWhole(target));
    }
};

TEST_F(HelperKilled, TakesTheProcessAlongThatRenames) {
    expectNothingMoreToHappenWithoutTheHelper(
        0, makeDirectory(sandbox::rootsDirectory + "/folder") + "/item");
}

TEST_F(HelperKilled, TakesTheProcessAlongThatReadsAsAnotherUser) {
    expectNothingMoreToHappenWithoutTheHelper(servedUser, usersDirectory() + "/item");
}

TEST_F(HelperKilled, LetsTheProcessFinishThatRemovesWhatItHasCopied) {
    const auto users = usersDirectory();
    expectNothingMoreToHappenWithoutTheHelper(0, sandbox::rootsDirectory + "/item", users);
}

/// Returns with how many descriptors a process may read what is written to its standard error.
std::ptrdiff_t readersOfErrorsIn(pid_t process) {
    const auto directory = "/proc/" + std::to_string(process);
    const auto errors = fs::read_symlink(directory + "/fd/2");
    return std::count_if(fs::directory_iterator(directory + "/fd"), {}, [&](const auto& entry) {
        std::ifstream information(directory + "/fdinfo/" + entry.path().filename().string());
        std::string word;
        int flags = O_WRONLY;
        while (information >> word && word != "flags:") {
        }
        information >> std::oct >> flags;
        return fs::read_symlink(entry.path()) == errors && (flags & O_ACCMODE) == O_RDONLY;
    });
}

/// A tool that writes more errors than the system keeps would wait for good.
TEST_F(HelperKilled, LeavesNobodyThatWouldReadTheErrorsOfTools) {
    constexpr int inTheMiddle = 200; // after it has taken the signals back
    const std::string source = sandbox::rootsDirectory + "/item";
    makeItem(source);
    std::ptrdiff_t count = -1;
    moveWith(source, usersDirectory() + "/item", Victim::helper, [&](Executioner& executioner) {
        return executioner.killHelperWhileMoverStandsAt(
            inTheMiddle, [&] { count = readersOfErrorsIn(executioner.mover()); });
    });
    EXPECT_EQ(count, 0);
}

TEST_F(HelperKilled, LeavesTheItemWholeInOneOfItsPlaces) {
    expectTheItemToBeWholeWhenKilled(Victim::helper);
}

TEST_F(HelperKilled, LeavesItWholeWhereTheProcessThatMovesIsKilled) {
    expectTheItemToBeWholeWhenKilled(Victim::mover);
}

TEST_F(HelperKilled, HasWhatItWasToRenameInItsPlaceWhenItIsAskedForAgain) {
    EXPECT_EQ(expectTheItemToComeWhenAskedForAgain(Victim::helper), 0);
}

TEST_F(HelperKilled, HasItInItsPlaceThoughTheProcessThatMovedHadHiddenIt) {
    EXPECT_GT(expectTheItemToComeWhenAskedForAgain(Victim::mover), 0);
}
