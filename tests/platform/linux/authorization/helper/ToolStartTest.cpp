// What a tool finds when the helper has started it, and how it ends.

#include "platform/linux/authorization/helper/ToolStart.h"

#include "tests/platform/linux/authorization/helper/HelperHarness.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <sstream>

using qf::native::FileDescriptor;
using qf::native::helper::areYouThere;
using qf::native::helper::Status;

namespace {

/// Twice as many as a helper may have descriptors.
constexpr int manyRequests = 512;

/// Keeps tools waiting until it is opened.
class Gate {
public:
    Gate() { EXPECT_EQ(::mkfifo(path_, 0600), 0); }
    ~Gate() { ::unlink(path_); }
    Gate(const Gate&) = delete;
    Gate& operator=(const Gate&) = delete;
    Gate(Gate&&) = delete;
    Gate& operator=(Gate&&) = delete;

    static std::vector<std::string> shellThatWaitsAndThen(const std::string& script) {
        return {"-c", "exec < /mnt/gate; " + script};
    }
    void open() { writer_ = FileDescriptor(::open(path_, O_RDWR | O_CLOEXEC)); }

private:
    const char* path_ = "/mnt/gate";
    FileDescriptor writer_;
};

std::size_t openDescriptors(pid_t process) {
    const std::filesystem::directory_iterator directory("/proc/" + std::to_string(process) + "/fd");
    return static_cast<std::size_t>(std::distance(begin(directory), end(directory)));
}

} // namespace

using HelperTool = HelperTest;

TEST_F(HelperTool, HandsItsOutputToTheProgram) {
    TestedHelper helper;
    EXPECT_EQ(helper.outputOf("/bin/echo", {"hello", "there"}), "hello there\n");
    EXPECT_FALSE(helper.hasLogLine());
}

TEST_F(HelperTool, HandsOutputOverThatIsLargerThanAnyPipe) {
    TestedHelper helper;
    EXPECT_EQ(helper.outputOf("/bin/sh", {"-c", "yes | head -c 3000000"}).size(), 3'000'000U);
}

TEST_F(HelperTool, RunsAsTheSuperuserInAFixedEnvironment) {
    TestedHelper helper;
    EXPECT_EQ(helper.outputOf("/usr/bin/id", {"-u"}), "0\n");
    EXPECT_EQ(helper.outputOf("/usr/bin/env"),
              "PATH=/usr/sbin:/usr/bin:/sbin:/bin\nLC_ALL=C.UTF-8\n");
    EXPECT_EQ(helper.outputOf("/bin/pwd"), "/\n");
}

TEST_F(HelperTool, HasASessionOfItsOwnWithoutTerminal) {
    TestedHelper helper;
    std::istringstream stat(helper.outputOf("/bin/cat", {"/proc/self/stat"}));
    std::string pid;
    std::string name;
    std::string state;
    std::string parent;
    std::string group;
    std::string session;
    std::string terminal;
    stat >> pid >> name >> state >> parent >> group >> session >> terminal;
    EXPECT_EQ(session, pid);
    EXPECT_EQ(group, pid);
    EXPECT_EQ(terminal, "0");
}

TEST_F(HelperTool, HasDefaultSignals) {
    TestedHelper helper;
    EXPECT_EQ(helper.outputOf("/bin/grep", {"^Sig[BI]", "/proc/self/status"}),
              "SigBlk:\t0000000000000000\nSigIgn:\t0000000000000000\n");
}

TEST_F(HelperTool, HasTheStandardStreamsAndNothingElse) {
    TestedHelper helper;
    EXPECT_EQ(helper.outputOf("/bin/ls", {"/proc/self/fd"}), "0\n1\n2\n3\n"); // 3 is its own
    EXPECT_EQ(helper.outputOf("/bin/readlink", {"/proc/self/fd/0"}), "/dev/null\n");
}

TEST_F(HelperTool, IsNotBoundByTheUsersLimits) {
    TestedHelper helper({.limits = {{RLIMIT_FSIZE, 1U << 30U}, {RLIMIT_STACK, 1U << 18U}}});
    EXPECT_EQ(helper.outputOf("/bin/sh", {"-c", "ulimit -f; ulimit -s; ulimit -c"}),
              "unlimited\n8192\n0\n");
}

TEST_F(HelperTool, GetsItsArgumentsUnchanged) {
    TestedHelper helper;
    const std::string odd = "line\nbreak \xff\xfe\x80 'quote\" $HOME `id` *";
    EXPECT_EQ(helper.outputOf("/usr/bin/printf", {"%s|", odd, "", "-n", "\t"}), odd + "||-n|\t|");
}

TEST_F(HelperTool, TakesAsManyArgumentsAndBytesAsARequestMayHave) {
    TestedHelper helper;
    const std::vector<std::string> most(qf::native::helper::maximumArguments, "a");
    EXPECT_EQ(helper.outputOf("/bin/echo", most).size(), 2 * most.size());
    const std::string tool = "/bin/echo";
    const std::string longest(qf::native::helper::maximumRequestSize - tool.size() - 2, 'x');
    EXPECT_EQ(helper.outputOf(tool, {longest}).size(), longest.size() + 1);
}

TEST_F(HelperTool, FinishesAfterTheHelperWasKilled) {
    TestedHelper helper;
    Gate gate;
    const std::string done = sandbox::rootsDirectory + "/told";
    ASSERT_EQ(::mkfifo(done.c_str(), 0600), 0);
    const FileDescriptor told(::open(done.c_str(), O_RDWR | O_CLOEXEC));
    const auto request =
        qf::native::helper::encodeRequest("/bin/sh", Gate::shellThatWaitsAndThen("echo > " + done));
    ASSERT_GT(::send(helper.connection(), request->data(), request->size(), 0), 0);
    char reply = 0;
    ASSERT_GT(::recv(helper.connection(), &reply, sizeof reply, 0), 0);
    ASSERT_EQ(::kill(helper.process(), SIGKILL), 0);
    helper.waitForEnd();
    gate.open();
    pollfd end{told.get(), POLLIN, 0};
    EXPECT_EQ(::poll(&end, 1, 30'000), 1);
}

TEST_F(HelperTool, FinishesAfterTheProgramHasEnded) {
    TestedHelper helper;
    Gate gate;
    const std::string done = sandbox::rootsDirectory + "/done";
    const auto arguments = Gate::shellThatWaitsAndThen("yes | head -c 300000; : > " + done);
    ASSERT_EQ(helper.start("/bin/sh", arguments).status, Status::started);
    helper.disconnect();
    EXPECT_TRUE(helper.isRunning());
    gate.open();
    EXPECT_EQ(helper.waitForEnd(), 0);
    EXPECT_TRUE(exists(done));
}

TEST_F(HelperTool, FinishesWhenNobodyReadsItsOutput) {
    TestedHelper helper;
    const std::string done = sandbox::rootsDirectory + "/done";
    {
        const auto answer = helper.start("/bin/sh", {"-c", "yes | head -c 300000; : > " + done});
        ASSERT_EQ(answer.status, Status::started);
    }
    helper.disconnect();
    EXPECT_EQ(helper.waitForEnd(), 0);
    EXPECT_TRUE(exists(done));
}

TEST_F(HelperTool, HasItsOutputReadAfterTheSessionIsOver) {
    TestedHelper helper;
    const auto answer = helper.start("/bin/sh", {"-c", "yes | head -c 300000"});
    helper.disconnect();
    EXPECT_EQ(readAll(answer.output.get()).size(), 300'000U);
    EXPECT_EQ(helper.waitForEnd(), 0);
}

TEST_F(HelperTool, IsStartedHundredsOfTimesInARow) {
    TestedHelper helper;
    ASSERT_EQ(helper.send(areYouThere).status, Status::ready);
    const std::size_t before = openDescriptors(helper.process());
    for (int count = 0; count < manyRequests; ++count) {
        ASSERT_EQ(helper.run("/bin/true", {}), Status::started) << count;
    }
    ASSERT_EQ(helper.send(areYouThere).status, Status::ready);
    EXPECT_EQ(openDescriptors(helper.process()), before);
}

TEST_F(HelperTool, IsRefusedWhenTheSystemHasNoProcessLeft) {
    TestedHelper helper({.mayFork = false});
    for (int count = 0; count < 2; ++count) {
        EXPECT_EQ(helper.run("/bin/true", {}), Status::startFailed);
        EXPECT_EQ(helper.nextLogLine(), "refused a request of user 12345: the tool cannot be "
                                        "started: /bin/true: 11");
    }
    EXPECT_EQ(helper.send(areYouThere).status, Status::ready);
}

TEST_F(HelperTool, IsRefusedWhenTheHelperHasNoDescriptorsLeft) {
    TestedHelper helper;
    Gate gate;
    std::vector<TestedHelper::Answer> waiting;
    do {
        waiting.push_back(helper.start("/bin/sh", Gate::shellThatWaitsAndThen("true")));
        ASSERT_LT(waiting.size(), 1000U);
    } while (waiting.back().status == Status::started);
    EXPECT_EQ(waiting.back().status, Status::startFailed);
    EXPECT_EQ(helper.nextLogLine().find("refused a request of user 12345: the tool cannot be "
                                        "started: "),
              0U);
    EXPECT_EQ(helper.send(areYouThere).status, Status::ready);
    waiting.pop_back();
    gate.open();
    for (const auto& answer : waiting) {
        readAll(answer.output.get());
    }
    EXPECT_EQ(helper.outputOf("/bin/echo", {"again"}), "again\n");
}

/// The stand-in for chown, where it is only root's to change, as in an installation.
class HelperChown : public HelperTest {
protected:
    void SetUp() override {
        HelperTest::SetUp();
        if (!IsSkipped()) {
            copyChown(tool);
        }
    }
    void TearDown() override { ::unlink(tool.c_str()); }

    static uid_t ownerOf(const std::string& path) {
        struct stat status {};
        EXPECT_EQ(::stat(path.c_str(), &status), 0);
        return status.st_uid;
    }

    const std::string tool = sandbox::rootsDirectory + "/chown";
    const std::string file = sandbox::rootsDirectory + "/job.plist";
};

TEST_F(HelperChown, GivesAFileToRoot) {
    makeFile(file, servedUser);
    TestedHelper helper;
    EXPECT_EQ(helper.run(tool, {"root:wheel", file}), Status::started);
    EXPECT_EQ(ownerOf(file), 0U);
    EXPECT_FALSE(helper.hasLogLine());
}

TEST_F(HelperChown, IsNotLedAstrayByALink) {
    makeFile(file, 0);
    const auto link = makeLink(file, sandbox::everybodysDirectory + "/link", servedUser);
    TestedHelper helper;
    EXPECT_EQ(helper.run(tool, {"root:wheel", link}), Status::itemRedirected);
    EXPECT_TRUE(helper.hasLogLine());
    helper.nextLogLine();
    EXPECT_EQ(helper.run(tool, {std::to_string(servedUser), link}), Status::started);
    const auto line = helper.nextLogLine();
    EXPECT_NE(line.find("because it is a link"), std::string::npos) << line;
    EXPECT_EQ(ownerOf(file), 0U);
}

TEST_F(HelperChown, IsRefusedWhereAUserMayChangeIt) {
    const auto copy = copyChown(sandbox::everybodysDirectory + "/chown");
    TestedHelper helper;
    EXPECT_EQ(helper.run(copy, {"root", file}), Status::toolNotTrusted);
    EXPECT_NE(helper.nextLogLine().find("others than root may change the tool"), std::string::npos);
    ::unlink(copy.c_str());
}
