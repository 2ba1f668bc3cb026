// Whom the helper serves, and for how long.

#include "platform/linux/authorization/helper/Peer.h"

#include "platform/linux/authorization/helper/PassingMessage.h"
#include "tests/platform/linux/authorization/helper/HelperHarness.h"

#include <fcntl.h>
#include <linux/sched.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdint>
#include <utility>

extern "C" { // which the header of the C library 2.36 leaves out
#include <sys/pidfd.h>
}

using qf::native::FileDescriptor;
using qf::native::helper::areYouThere;
using qf::native::helper::encodeRequest;
using qf::native::helper::PassingMessage;
using qf::native::helper::Status;

namespace {

bool hasEnded(const FileDescriptor& process) {
    constexpr int longest = 30'000;
    pollfd end{process.get(), POLLIN, 0};
    return ::poll(&end, 1, longest) == 1;
}

/// Waits until a process has ended, and for the right to its number.
void reap(pid_t process) {
    EXPECT_EQ(::waitpid(process, nullptr, 0), process);
}

/// A program with a helper, in another process than the test, which has its end of the connection.
class OtherProgram {
public:
    OtherProgram() {
        std::array<int, 2> ends{-1, -1};
        EXPECT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
        const FileDescriptor readEnd(ends[0]);
        FileDescriptor writeEnd(ends[1]);
        number_ = ::fork();
        if (number_ == 0) {
            serve(writeEnd);
        }
        writeEnd.reset();
        struct {
            pid_t helper;
            int connection;
        } told{};
        EXPECT_EQ(::read(readEnd.get(), &told, sizeof told), static_cast<ssize_t>(sizeof told));
        const FileDescriptor program(::pidfd_open(number_, 0));
        connection_ = FileDescriptor(::pidfd_getfd(program.get(), told.connection, 0));
        helper_ = FileDescriptor(::pidfd_open(told.helper, 0));
    }
    ~OtherProgram() { end(); }
    OtherProgram(const OtherProgram&) = delete;
    OtherProgram& operator=(const OtherProgram&) = delete;
    OtherProgram(OtherProgram&&) = delete;
    OtherProgram& operator=(OtherProgram&&) = delete;

    void end() {
        if (number_ > 0) {
            ::kill(number_, SIGKILL);
            reap(std::exchange(number_, -1));
        }
    }
    pid_t number() const { return number_; }
    const FileDescriptor& connection() const { return connection_; }
    const FileDescriptor& helper() const { return helper_; }

private:
    [[noreturn]] static void serve(const FileDescriptor& report) {
        TestedHelper helper;
        helper.send(areYouThere);
        const struct {
            pid_t helper;
            int connection;
        } told{helper.process(), helper.connection()};
        ::_exit(::write(report.get(), &told, sizeof told) > 0 ? ::pause() : 1);
    }

    pid_t number_ = -1;
    FileDescriptor connection_;
    FileDescriptor helper_;
};

/// A process with a number that is free.
pid_t forkWithNumber(pid_t number) {
    clone_args arguments{};
    arguments.exit_signal = SIGCHLD;
    arguments.set_tid = reinterpret_cast<std::uint64_t>(&number);
    arguments.set_tid_size = 1;
    return static_cast<pid_t>(::syscall(SYS_clone3, &arguments, sizeof arguments));
}

/// Sends a request from this process without waiting for the answer, and ends.
[[noreturn]] void sendAndEnd(int connection, const std::string& request) {
    const ssize_t sent = ::send(connection, request.data(), request.size(), MSG_NOSIGNAL);
    ::_exit(sent > 0 ? 0 : 1);
}

} // namespace

class HelperPeer : public HelperTest {
protected:
    /// A request that leaves a directory where it is granted.
    static std::string traceableRequest() {
        return encodeRequest("/bin/mkdir", {"-p", trace()}).value();
    }
    static std::string trace() { return sandbox::rootsDirectory + "/trace"; }
};

TEST_F(HelperPeer, AloneIsServed) {
    TestedHelper helper;
    ASSERT_EQ(helper.send(areYouThere).status, Status::ready);
    const pid_t thief = ::fork();
    if (thief == 0) {
        sendAndEnd(helper.connection(), traceableRequest());
    }
    EXPECT_EQ(helper.nextLogLine(),
              "another process than the program has spoken: " + std::to_string(thief));
    reap(thief);
    EXPECT_EQ(helper.waitForEnd(), 0);
    EXPECT_FALSE(exists(trace()));
}

TEST_F(HelperPeer, AloneIsServedWhateverElseSaysOfItself) {
    TestedHelper helper;
    ASSERT_EQ(helper.send(areYouThere).status, Status::ready);
    const pid_t thief = ::fork();
    if (thief == 0) {
        if (::setresuid(servedUser, servedUser, servedUser) != 0) {
            ::_exit(1);
        }
        std::string request = traceableRequest();
        PassingMessage<ucred> message(request.data(), request.size());
        const ucred forged{::getppid(), servedUser, 0};
        ::_exit(message.send(helper.connection(), forged, MSG_NOSIGNAL) < 0 ? 0 : 1);
    }
    int status = -1;
    EXPECT_EQ(::waitpid(thief, &status, 0), thief);
    EXPECT_EQ(status, 0) << "the system has let it say so";
    EXPECT_EQ(helper.send(areYouThere).status, Status::ready);
    EXPECT_FALSE(exists(trace()));
}

TEST_F(HelperPeer, IsTheProcessThatHasMadeTheConnection) {
    TestedHelper helper({.isMadeByAnother = true});
    EXPECT_EQ(helper.waitForEnd(), 1);
    EXPECT_EQ(helper.nextLogLine(), "refused to start: its parent has not made the connection");
}

TEST_F(HelperPeer, TakesTheRightAlongWhenItEnds) {
    OtherProgram program;
    ASSERT_TRUE(program.connection());
    program.end();
    EXPECT_TRUE(hasEnded(program.helper()));
}

TEST_F(HelperPeer, IsNotTakenForAnotherProcessThatHasItsNumber) {
    OtherProgram program;
    ASSERT_TRUE(program.connection());
    ASSERT_EQ(::pidfd_send_signal(program.helper().get(), SIGSTOP, nullptr, 0), 0);
    const pid_t number = program.number();
    program.end();
    const pid_t thief = forkWithNumber(number);
    if (thief == 0) {
        const std::string request = traceableRequest();
        ::send(program.connection().get(), request.data(), request.size(), MSG_NOSIGNAL);
        ::pause(); // as long as its number is wanted
    }
    ASSERT_EQ(thief, number) << "the number is not free";
    ASSERT_EQ(::pidfd_send_signal(program.helper().get(), SIGCONT, nullptr, 0), 0);
    EXPECT_TRUE(hasEnded(program.helper()));
    EXPECT_FALSE(exists(trace()));
    ::kill(thief, SIGKILL);
    reap(thief);
}

TEST_F(HelperPeer, ThatAsksNothingForLongLosesTheRight) {
    TestedHelper helper({.kind = HelperKind::impatient});
    EXPECT_EQ(helper.waitForEnd(), 0);
    EXPECT_FALSE(helper.send(areYouThere).status);
}

TEST_F(HelperPeer, MayWaitForItsToolsAsLongAsTheyTake) {
    TestedHelper helper({.kind = HelperKind::impatient});
    const std::string gate = sandbox::rootsDirectory + "/gate";
    ASSERT_EQ(::mkfifo(gate.c_str(), 0600), 0);
    const auto answer = helper.start("/bin/cat", {gate});
    ASSERT_EQ(answer.status, Status::started);
    constexpr int longerThanItsPatience = 1'500;
    pollfd end{helper.connection(), POLLIN, 0};
    EXPECT_EQ(::poll(&end, 1, longerThanItsPatience), 0);
    EXPECT_EQ(helper.send(areYouThere).status, Status::ready);
    FileDescriptor(::open(gate.c_str(), O_WRONLY | O_CLOEXEC)).reset();
    EXPECT_EQ(helper.waitForEnd(), 0);
}
