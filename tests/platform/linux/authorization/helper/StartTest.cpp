// What the helper demands before it serves anybody.

#include "tests/platform/linux/authorization/helper/HelperHarness.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <thread>
#include <utility>

using qf::native::FileDescriptor;
using qf::native::helper::areYouThere;
using qf::native::helper::Status;

namespace {

void expectRefusal(const HelperSetup& setup, const std::string& reason) {
    TestedHelper helper(setup);
    EXPECT_EQ(helper.waitForEnd(), 1);
    EXPECT_EQ(helper.nextLogLine(), "refused to start: " + reason);
    EXPECT_FALSE(helper.hasLogLine());
}

} // namespace

using HelperStart = HelperTest;

TEST_F(HelperStart, AnswersTheUserWhomPkexecHasAuthorized) {
    TestedHelper helper;
    EXPECT_EQ(helper.send(areYouThere).status, Status::ready);
}

TEST_F(HelperStart, RefusesToRunWithoutPkexec) {
    expectRefusal({.invoker = std::nullopt}, "pkexec did not start it");
    expectRefusal({.invoker = ""}, "pkexec did not start it");
    expectRefusal({.invoker = "12345x"}, "pkexec did not start it");
    expectRefusal({.invoker = "-1"}, "pkexec did not start it");
    expectRefusal({.invoker = "99999999999999999999"}, "pkexec did not start it");
}

TEST_F(HelperStart, RefusesAConnectionOfAnotherUser) {
    expectRefusal({.peer = 23456}, "its connection is not the authorized user's");
    expectRefusal({.peer = 0}, "its connection is not the authorized user's");
}

TEST_F(HelperStart, RefusesToRunAsAnybodyButTheSuperuser) {
    expectRefusal({.runsAs = servedUser}, "it does not run as the superuser");
}

TEST_F(HelperStart, RefusesAStandardInputThatIsNoConnection) {
    expectRefusal({.hasConnection = false}, "its standard input is no connection");
    expectRefusal({.socketType = SOCK_STREAM}, "its standard input is no connection");
    expectRefusal({.socketType = SOCK_DGRAM}, "its standard input is no connection");
}

TEST_F(HelperStart, RefusesToGiveItsToolsTheCallersStreams) {
    ASSERT_EQ(std::rename("/dev/null", "/dev/elsewhere"), 0);
    expectRefusal({}, "it cannot open /dev/null");
    EXPECT_EQ(std::rename("/dev/elsewhere", "/dev/null"), 0);
}

TEST_F(HelperStart, EndsWhenTheProgramDoes) {
    TestedHelper helper;
    EXPECT_EQ(helper.send(areYouThere).status, Status::ready);
    helper.disconnect();
    EXPECT_EQ(helper.waitForEnd(), 0);
    EXPECT_FALSE(helper.hasLogLine());
}

class HelperStartSignal : public HelperStart, public testing::WithParamInterface<int> {};

TEST_P(HelperStartSignal, IsNotEndedByWhatATerminalSends) {
    TestedHelper helper;
    EXPECT_EQ(helper.send(areYouThere).status, Status::ready);
    ASSERT_EQ(::kill(helper.process(), GetParam()), 0);
    EXPECT_EQ(helper.send(areYouThere).status, Status::ready);
}

INSTANTIATE_TEST_SUITE_P(, HelperStartSignal,
                         testing::Values(SIGHUP, SIGINT, SIGQUIT, SIGPIPE, SIGTSTP));

TEST_F(HelperStart, IsNotEndedByATimerThatRanBefore) {
    TestedHelper helper({.hasTimer = true});
    EXPECT_EQ(helper.send(areYouThere).status, Status::ready);
    EXPECT_EQ(helper.outputOf("/bin/grep", {"-E", "^(Sig|Shd)Pnd", "/proc/self/status"}),
              "SigPnd:\t0000000000000000\nShdPnd:\t0000000000000000\n");
}

TEST_F(HelperStart, IsNotPutOffNorPickedWhenMemoryIsShort) {
    TestedHelper helper({.niceness = 10, .memoryPenalty = 500});
    EXPECT_EQ(helper.outputOf("/bin/nice"), "0\n");
    EXPECT_EQ(helper.outputOf("/bin/cat", {"/proc/self/oom_score_adj"}), "0\n");
}

class HelperStartMask : public HelperStart, public testing::WithParamInterface<mode_t> {};

TEST_P(HelperStartMask, LetsNobodyElseWriteToWhatItsToolsMake) {
    TestedHelper helper({.mask = GetParam()});
    EXPECT_EQ(helper.outputOf("/bin/sh", {"-c", "umask"}), "0022\n");
}

TEST_P(HelperStartMask, MakesWhatEverybodyMayEnterWhateverItsMask) {
    TestedHelper helper({.mask = GetParam()});
    const std::string directory = sandbox::rootsDirectory + "/made";
    EXPECT_EQ(helper.run("/bin/mkdir", {"-p", directory}), Status::started);
    struct stat status {};
    EXPECT_EQ(::stat(directory.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0755U);
}

INSTANTIATE_TEST_SUITE_P(, HelperStartMask, testing::Values(0U, 0777U));

// A time zone may be a file anywhere.
TEST_F(HelperStart, DropsTheEnvironmentThatItIsStartedWith) {
    TestedHelper helper({.timeZone = "ELSEWHERE-12"});
    const std::time_t now = std::time(nullptr);
    EXPECT_EQ(helper.send("x").status, Status::requestMalformed);
    EXPECT_NE(helper.nextLogLine(), "");
    const std::string day = helper.logLinesHead().substr(helper.logLinesHead().find('>') + 1, 15);
    std::tm logged = *std::localtime(&now);
    ASSERT_NE(::strptime(day.c_str(), "%b %d %H:%M:%S", &logged), nullptr) << day;
    constexpr double halfOfTheShift = 6 * 60 * 60;
    EXPECT_LT(std::abs(std::difftime(std::mktime(&logged), now)), halfOfTheShift) << day;
}

TEST_F(HelperStart, ClosesWhatItInheritsBesideTheConnection) {
    std::array<int, 2> ends{-1, -1};
    ASSERT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
    const FileDescriptor readEnd(ends[0]);
    FileDescriptor writeEnd(ends[1]);
    TestedHelper helper({.leftDescriptor = writeEnd.get()});
    writeEnd.reset();
    EXPECT_EQ(helper.send(areYouThere).status, Status::ready);
    pollfd end{readEnd.get(), POLLIN, 0};
    EXPECT_EQ(::poll(&end, 1, 0), 1) << "the helper has the other end";
}

TEST_F(HelperStart, LeavesNoCore) {
    TestedHelper helper({.limits = {{RLIMIT_CORE, 1U << 20U}}});
    EXPECT_EQ(helper.send(areYouThere).status, Status::ready);
    rlimit core{1, 1};
    EXPECT_EQ(::prlimit(helper.process(), RLIMIT_CORE, nullptr, &core), 0);
    EXPECT_EQ(core.rlim_cur, 0U);
    EXPECT_EQ(core.rlim_max, 0U);
}

TEST_F(HelperStart, OutlivesTheThreadThatStartedIt) {
    std::optional<TestedHelper> helper;
    std::string threadsDirectory;
    std::thread starter([&] {
        threadsDirectory = "/proc/self/task/" + std::to_string(::gettid());
        helper.emplace(HelperSetup{.endsWithThread = true});
        EXPECT_EQ(helper->send(areYouThere).status, Status::ready);
    });
    starter.join();
    while (exists(threadsDirectory)) { // until the system has told its children
        std::this_thread::yield();
    }
    EXPECT_EQ(helper->send(areYouThere).status, Status::ready);
}
