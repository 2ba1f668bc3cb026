#include "platform/linux/process/ProcessLauncher.h"

#include "platform/foundation/Exception.h"
#include "platform/linux/posix/FileDescriptor.h"
#include "platform/linux/process/Environment.h"
#include "platform/linux/process/RunDescriptors.h"
#include "platform/support/Process.h"
#include "tests/platform/linux/process/SleepingThread.h"
#include "tests/support/AddressSpace.h"
#include "tests/support/Eventually.h"
#include "tests/support/NamedCase.h"
#include "tests/support/OpenDescriptors.h"
#include "tests/support/ScopedLimit.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <future>
#include <optional>
#include <thread>
#include <utility>

namespace {

using qf::ChildStream;
using qf::ProcessDescription;

class Launcher : public testing::Test {
protected:
    static ProcessDescription shellScript(const std::string& text) {
        ProcessDescription description;
        description.launchPath = "/bin/sh";
        description.arguments = {"-c", text};
        return description;
    }

    std::shared_ptr<qf::ChildProcess> launch(const std::string& text) {
        return launcher_.launch(shellScript(text));
    }

    /// Returns everything that a child writes to its standard output.
    std::string outputOf(ProcessDescription description) {
        const auto pipe = launcher_.makePipe();
        description.standardOutput = ChildStream::through(pipe);
        const auto child = launcher_.launch(description);
        qf::Data data;
        while (pipe->appendAvailable(data.bytes)) {
        }
        child->waitUntilExit();
        std::string text;
        for (const std::byte byte : data.bytes) {
            text += static_cast<char>(byte);
        }
        return text;
    }
    std::string outputOf(const std::string& text) { return outputOf(shellScript(text)); }

    /// Returns the text of a script that waits until openGate().
    std::string gate(const std::string& name = "gate") const {
        ::mkfifo((directory_ / name).c_str(), S_IRUSR | S_IWUSR);
        return "read line < '" + (directory_ / name) + "'";
    }
    void openGate(const std::string& name = "gate") const {
        std::ofstream(directory_ / name) << "open\n";
    }

    const TemporaryDirectory directory_;
    qf::native::ProcessLauncher launcher_;
};

bool isGone(long identifier) {
    return eventually(
        [=] { return !std::filesystem::exists("/proc/" + std::to_string(identifier)); });
}

/// Returns whether a process is stopped.
bool isStopped(long identifier) {
    std::string status;
    std::getline(std::ifstream("/proc/" + std::to_string(identifier) + "/stat"), status);
    return status.find(") T ") != std::string::npos;
}

/// Returns the limit at which `count` more descriptors can be opened.
rlim_t limitLeaving(std::size_t count) {
    std::vector<qf::native::FileDescriptor> opened;
    while (opened.size() <= count) {
        opened.emplace_back(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    }
    return static_cast<rlim_t>(opened.back().get());
}

/// A system call that fails for the scope of a Refusal.
std::atomic<bool> refusesChildDescriptors{false};
std::atomic<bool> refusesWatches{false};

class Refusal {
public:
    explicit Refusal(std::atomic<bool>& what) : what_(what) { what_ = true; }
    ~Refusal() { what_ = false; }
    Refusal(const Refusal&) = delete;
    Refusal& operator=(const Refusal&) = delete;
    Refusal(Refusal&&) = delete;
    Refusal& operator=(Refusal&&) = delete;

private:
    std::atomic<bool>& what_;
};

/// Closes one of the program's three standard descriptors for a scope.
class WithoutStream {
public:
    explicit WithoutStream(int stream)
        : stream_(stream), kept_(::fcntl(stream, F_DUPFD_CLOEXEC, 100)) {
        ::close(stream);
    }
    ~WithoutStream() {
        ::dup2(kept_, stream_);
        ::close(kept_);
    }
    WithoutStream(const WithoutStream&) = delete;
    WithoutStream& operator=(const WithoutStream&) = delete;
    WithoutStream(WithoutStream&&) = delete;
    WithoutStream& operator=(WithoutStream&&) = delete;

private:
    const int stream_;
    const int kept_;
};

const std::string listDescriptors =
    "for d in /proc/$$/fd/*; do [ -e $d ] && printf '%s ' ${d##*/}; done; :";

TEST_F(Launcher, CanLaunchWhatTheUserMayExecute) {
    const auto file = directory_.write("tool");
    EXPECT_FALSE(launcher_.canLaunch(file));
    ASSERT_EQ(::chmod(file.c_str(), S_IRWXU), 0);
    EXPECT_TRUE(launcher_.canLaunch(file));
    std::filesystem::create_symlink(file, directory_ / "link");
    EXPECT_TRUE(launcher_.canLaunch(directory_ / "link"));
    EXPECT_TRUE(launcher_.canLaunch(directory_.path()));
    EXPECT_FALSE(launcher_.canLaunch(directory_ / "missing"));
}

TEST_F(Launcher, ReturnsTheExitStatusOrTheSignal) {
    const auto ended = launch("exit 3");
    ended->waitUntilExit();
    EXPECT_FALSE(ended->isRunning());
    EXPECT_EQ(ended->terminationStatus(), 3);

    const auto killed = launch("kill -KILL $$");
    killed->waitUntilExit();
    EXPECT_EQ(killed->terminationStatus(), SIGKILL);
}

TEST_F(Launcher, TellsAChildThatRunsFromOneThatHasEnded) {
    const auto child = launch(gate());
    EXPECT_TRUE(child->isRunning());
    openGate();
    child->waitUntilExit();
    EXPECT_FALSE(child->isRunning());
}

TEST_F(Launcher, TerminatesTheChildAndItsGroup) {
    const auto pipe = launcher_.makePipe();
    auto description = shellScript("sleep 1000 & echo $!; wait");
    description.standardOutput = ChildStream::through(pipe);
    const auto child = launcher_.launch(description);
    EXPECT_FALSE(qf::availableData(*pipe).bytes.empty());
    child->terminate();
    child->waitUntilExit();
    EXPECT_EQ(child->terminationStatus(), SIGTERM);
    EXPECT_TRUE(qf::availableData(*pipe).bytes.empty()) << "the grandchild still holds the pipe";
}

TEST_F(Launcher, TerminatesAStoppedChildAndItsStoppedChildren) {
    const auto pipe = launcher_.makePipe();
    auto description = shellScript("sh -c 'kill -STOP $$' & echo $!; kill -STOP $$");
    description.standardOutput = ChildStream::through(pipe);
    const auto child = launcher_.launch(description);
    std::string grandchild;
    for (const std::byte byte : qf::availableData(*pipe).bytes) {
        grandchild += static_cast<char>(byte);
    }
    ASSERT_TRUE(eventually(
        [&] { return isStopped(child->processIdentifier()) && isStopped(std::stol(grandchild)); }));
    child->terminate();
    const bool ended = eventually([&] { return !child->isRunning(); });
    EXPECT_TRUE(ended);
    EXPECT_TRUE(qf::availableData(*pipe).bytes.empty());
    ::kill(-static_cast<pid_t>(child->processIdentifier()), SIGKILL);
    EXPECT_EQ(child->terminationStatus(), SIGTERM);
}

TEST_F(Launcher, KillsTheChildAndItsGroupWhateverTheyIgnore) {
    const auto pipe = launcher_.makePipe();
    auto description = shellScript("trap '' TERM; sleep 1000 & echo $!; wait; sleep 1000");
    description.standardOutput = ChildStream::through(pipe);
    const auto child = launcher_.launch(description);
    EXPECT_FALSE(qf::availableData(*pipe).bytes.empty());
    child->kill();
    child->waitUntilExit();
    EXPECT_EQ(child->terminationStatus(), SIGKILL);
    EXPECT_TRUE(qf::availableData(*pipe).bytes.empty()) << "the grandchild still holds the pipe";
}

TEST_F(Launcher, KillsAChildThatHasASessionOfItsOwn) {
    const auto pipe = launcher_.makePipe();
    auto description = shellScript("cut -d' ' -f6 /proc/$$/stat; sleep 1000");
    description.standardOutput = ChildStream::through(pipe);
    description.leavesTerminal = true;
    const auto child = launcher_.launch(description);
    const auto session = qf::availableData(*pipe).bytes;
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(session.data()), session.size()),
              std::to_string(child->processIdentifier()) + '\n');
    child->kill();
    child->waitUntilExit();
    EXPECT_TRUE(qf::availableData(*pipe).bytes.empty());
}

TEST_F(Launcher, RunsAToolToItsEndThoughNoDescriptorIsLeft) {
    launch("exit 0")->waitUntilExit();
    const auto done = directory_ / "done";
    std::shared_ptr<qf::ChildProcess> child;
    {
        const ScopedLimit<RLIMIT_NOFILE> limit(limitLeaving(0));
        child = launch("ulimit -S -n 64; echo done > '" + done + "'; exit 3");
        child->waitUntilExit();
    }
    EXPECT_EQ(child->terminationStatus(), 3);
    EXPECT_EQ(contentOf(done), "done\n");
}

TEST_F(Launcher, FollowsAChildForWhichTheSystemRefusesADescriptor) {
    const Refusal refusal(refusesChildDescriptors);
    const auto ended = launch("exit 4");
    ended->waitUntilExit();
    EXPECT_EQ(ended->terminationStatus(), 4);

    const auto terminated = launch(gate());
    EXPECT_TRUE(terminated->isRunning());
    terminated->terminate();
    terminated->waitUntilExit();
    EXPECT_EQ(terminated->terminationStatus(), SIGTERM);

    EXPECT_TRUE(isGone(launch("exit 0")->processIdentifier()));
}

TEST_F(Launcher, LeavesNoZombieWhereTheSystemRefusesToWatchAChild) {
    const Refusal refusal(refusesWatches);
    EXPECT_TRUE(isGone(launch("exit 0")->processIdentifier()));
    const auto child = launch(gate());
    openGate();
    EXPECT_TRUE(isGone(child->processIdentifier()));
    EXPECT_EQ(child->terminationStatus(), 0);
}

TEST_F(Launcher, EndsTheOutputWithTheChildWhoeverStillHoldsThePipe) {
    const auto pipe = launcher_.makePipe();
    auto description = shellScript("echo early; (" + gate() + "; echo late) & " + gate("child"));
    description.standardOutput = ChildStream::through(pipe);
    const auto child = launcher_.launch(description);
    std::promise<long> reader;
    auto read = std::async(std::launch::async, [&] {
        reader.set_value(::gettid());
        std::vector<std::byte> bytes;
        while (pipe->appendAvailable(bytes)) {
        }
        return bytes.size();
    });
    EXPECT_TRUE(isAsleep(reader.get_future().get()));
    child->endOutputWithChild();
    EXPECT_EQ(read.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    openGate("child");
    EXPECT_EQ(read.get(), std::string("early\n").size());
    openGate();
}

TEST_F(Launcher, EndsTheOutputOfAChildThatHasEndedAtOnce) {
    const auto pipe = launcher_.makePipe();
    auto description = shellScript("echo early; (" + gate() + "; echo late) &");
    description.standardOutput = ChildStream::through(pipe);
    const auto child = launcher_.launch(description);
    EXPECT_TRUE(eventually([&] { return !child->isRunning(); }));
    child->endOutputWithChild();
    std::vector<std::byte> bytes;
    while (pipe->appendAvailable(bytes)) {
    }
    EXPECT_EQ(bytes.size(), std::string("early\n").size());
    openGate();
}

TEST_F(Launcher, WakesNoOtherReaderForGood) {
    const auto pipe = launcher_.makePipe();
    const auto closed = launcher_.makePipe();
    std::promise<long> first;
    std::promise<long> second;
    auto read = std::async(std::launch::async, [&] {
        first.set_value(::gettid());
        return qf::availableData(*pipe).bytes.size();
    });
    auto other = std::async(std::launch::async, [&] {
        second.set_value(::gettid());
        return qf::availableData(*closed).bytes.size();
    });
    const auto firstThread = first.get_future().get();
    EXPECT_TRUE(isAsleep(firstThread));
    EXPECT_TRUE(isAsleep(second.get_future().get()));
    closed->closeReadEnd();
    EXPECT_EQ(other.get(), 0U);
    EXPECT_TRUE(isAsleep(firstThread)) << "it goes round and round";
    pipe->stopWaiting();
    EXPECT_EQ(read.get(), 0U);
}

TEST_F(Launcher, HoldsFourDescriptorsForAChildOfWhichAllIsCollected) {
    launch("exit 0")->waitUntilExit();
    launcher_.makePipe();
    const auto before = openDescriptors();
    auto description = shellScript(gate());
    description.standardInput = ChildStream::through(launcher_.makePipe());
    description.standardOutput = ChildStream::through(launcher_.makePipe());
    description.standardError = ChildStream::through(launcher_.makePipe());
    const auto child = launcher_.launch(description);
    const auto& output = description.standardOutput.pipe();
    std::promise<long> reader;
    auto read = std::async(std::launch::async, [&] {
        reader.set_value(::gettid());
        return qf::availableData(*output).bytes.size();
    });
    EXPECT_TRUE(isAsleep(reader.get_future().get()));
    EXPECT_EQ(openDescriptors(), before + 4);
    openGate();
    EXPECT_EQ(read.get(), 0U);
}

TEST_F(Launcher, SaysThatThereIsNoMemoryForTheOutput) {
    if (isSanitized()) {
        GTEST_SKIP() << "a sanitizer has taken the address space that this test would limit";
    }
    const auto pipe = launcher_.makePipe();
    auto description = shellScript("cat /dev/zero");
    description.standardOutput = ChildStream::through(pipe);
    const auto child = launcher_.launch(description);
    const ScopedLimit<RLIMIT_AS> limit(addressSpaceInUse() + 128 * mebibyte);
    try {
        std::vector<std::byte> bytes;
        while (pipe->appendAvailable(bytes)) {
        }
        ADD_FAILURE() << "the output ended";
    } catch (const qf::Exception& exception) {
        EXPECT_EQ(exception.name(), "NSMallocException");
        EXPECT_EQ(exception.reason(), "there is not enough memory for its output");
    }
    child->terminate();
}

TEST_F(Launcher, TerminatingAChildThatHasEndedDoesNothing) {
    const auto child = launch("exit 0");
    child->waitUntilExit();
    child->terminate();
    EXPECT_EQ(child->terminationStatus(), 0);
}

TEST_F(Launcher, WaitingSurvivesSignals) {
    struct sigaction action {};
    action.sa_handler = [](int) {};
    struct sigaction former {};
    ::sigaction(SIGUSR1, &action, &former);
    const auto child = launch(gate());
    std::atomic<bool> over{false};
    std::thread waiter([&] {
        child->waitUntilExit();
        over = true;
    });
    for (int count = 0; count < 100; ++count) {
        ::pthread_kill(waiter.native_handle(), SIGUSR1);
        std::this_thread::yield();
    }
    EXPECT_FALSE(over);
    openGate();
    waiter.join();
    ::sigaction(SIGUSR1, &former, nullptr);
}

TEST_F(Launcher, LeavesNoZombieOfAChildThatNobodyKeeps) {
    EXPECT_TRUE(isGone(launch("exit 0")->processIdentifier()));
}

TEST_F(Launcher, LeavesNoZombieOfAChildThatNobodyAsksAbout) {
    const auto child = launch("exit 6");
    EXPECT_TRUE(isGone(child->processIdentifier()));
    EXPECT_EQ(child->terminationStatus(), 6);
}

TEST_F(Launcher, LeavesOtherChildrenToThoseWhoForkedThem) {
    const auto other = ::fork();
    if (other == 0) {
        ::_exit(9);
    }
    launch("exit 0")->waitUntilExit();
    int status = 0;
    EXPECT_EQ(::waitpid(other, &status, 0), other);
    EXPECT_EQ(WEXITSTATUS(status), 9);
}

TEST_F(Launcher, LearnsTheStatusWhereEndedChildrenWereIgnored) {
    std::signal(SIGCHLD, SIG_IGN);
    qf::native::ProcessLauncher launcher;
    const auto child = launcher.launch(shellScript("exit 5"));
    child->waitUntilExit();
    EXPECT_EQ(child->terminationStatus(), 5);
}

TEST_F(Launcher, GivesTheChildItsThreeStreamsAndNothingElse) {
    const int leaky = ::open("/dev/null", O_RDONLY); // NOLINT(android-cloexec-open): on purpose
    EXPECT_EQ(outputOf(listDescriptors), "0 1 2 ");
    ::close(leaky);
}

TEST_F(Launcher, LeaksNoDescriptorIntoChildrenLaunchedAtTheSameTime) {
    std::vector<std::future<std::string>> lists;
    for (int thread = 0; thread < 8; ++thread) {
        lists.push_back(std::async(std::launch::async, [this] {
            std::string wrong;
            for (int run = 0; run < 25; ++run) {
                const auto list = outputOf(listDescriptors);
                wrong += list == "0 1 2 " ? "" : list;
            }
            return wrong;
        }));
    }
    for (auto& list : lists) {
        EXPECT_EQ(list.get(), "");
    }
}

TEST_F(Launcher, StartsTheChildWithDefaultSignalsAndNoneBlocked) {
    sigset_t blocked;
    sigset_t former;
    ::sigfillset(&blocked);
    ::pthread_sigmask(SIG_SETMASK, &blocked, &former);
    auto* const pipeSignal = std::signal(SIGPIPE, SIG_IGN);
    auto* const hangUp = std::signal(SIGHUP, SIG_IGN);
    const auto signals = outputOf("grep -E 'Sig(Blk|Ign)' /proc/self/status");
    std::signal(SIGPIPE, pipeSignal);
    std::signal(SIGHUP, hangUp);
    ::pthread_sigmask(SIG_SETMASK, &former, nullptr);
    // The C library keeps two signals (32 and 33) for itself and ignores them in every child.
    EXPECT_TRUE(signals == "SigBlk:\t0000000000000000\nSigIgn:\t0000000000000000\n" ||
                signals == "SigBlk:\t0000000000000000\nSigIgn:\t0000000180000000\n")
        << signals;
}

class LauncherWithoutStream : public Launcher,
                              public testing::WithParamInterface<NamedValue<int>> {};

TEST_P(LauncherWithoutStream, PassesTheNullDeviceOn) {
    const auto path = directory_ / "stream";
    {
        const WithoutStream without(GetParam().value);
        launch("s=$(readlink /proc/$$/fd/" + std::to_string(GetParam().value) + "); echo $s > '" +
               path + "'")
            ->waitUntilExit();
    }
    EXPECT_EQ(contentOf(path), "/dev/null\n");
}

INSTANTIATE_TEST_SUITE_P(, LauncherWithoutStream,
                         testing::Values(NamedValue<int>{{"Input"}, STDIN_FILENO},
                                         NamedValue<int>{{"Output"}, STDOUT_FILENO},
                                         NamedValue<int>{{"Errors"}, STDERR_FILENO}),
                         nameOfCase);

TEST_F(Launcher, KeepsOffTheStandardStreamsThatTheProgramOpensAgain) {
    {
        const WithoutStream without(STDIN_FILENO);
        auto child = launch("exit 3");
        ::dup2(STDERR_FILENO, STDIN_FILENO);
        child->waitUntilExit();
        EXPECT_EQ(child->terminationStatus(), 3);
        child.reset();
        EXPECT_GE(::fcntl(STDIN_FILENO, F_GETFD), 0);
    }
    EXPECT_TRUE(isGone(launch("exit 0")->processIdentifier()));
}

TEST_F(Launcher, ConnectsPipesWhileTheProgramsStreamsAreClosed) {
    std::string text;
    {
        const WithoutStream input(STDIN_FILENO);
        const WithoutStream output(STDOUT_FILENO);
        const WithoutStream error(STDERR_FILENO);
        qf::native::ProcessLauncher launcher;
        const auto outputPipe = launcher.makePipe();
        const auto errorPipe = launcher.makePipe();
        auto description = shellScript("echo out; echo wrong >&2");
        description.standardInput = ChildStream::through(launcher.makePipe());
        description.standardOutput = ChildStream::through(outputPipe);
        description.standardError = ChildStream::through(errorPipe);
        const auto child = launcher.launch(description);
        qf::Data data;
        while (outputPipe->appendAvailable(data.bytes)) {
        }
        while (errorPipe->appendAvailable(data.bytes)) {
        }
        for (const std::byte byte : data.bytes) {
            text += static_cast<char>(byte);
        }
    }
    EXPECT_EQ(text, "out\nwrong\n");
}

TEST_F(Launcher, CollectsMuchOutputWhole) {
    std::string expected;
    for (int line = 1; line <= 500'000; ++line) {
        expected += std::to_string(line) + "\n";
    }
    EXPECT_TRUE(outputOf("seq 500000") == expected);
}

TEST_F(Launcher, CollectsMuchOutputInLittleMoreMemory) {
    if (isSanitized()) {
        GTEST_SKIP() << "a sanitizer has taken the address space that this test would limit";
    }
    const auto pipe = launcher_.makePipe();
    auto description = shellScript("head -c 65M /dev/zero");
    description.standardOutput = ChildStream::through(pipe);
    const auto child = launcher_.launch(description);
    // Enough for the present data and twice that, and for the memory that a new thread reserves.
    const ScopedLimit<RLIMIT_AS> limit(addressSpaceInUse() + 512 * mebibyte);
    std::vector<std::byte> bytes;
    while (pipe->appendAvailable(bytes)) {
    }
    EXPECT_EQ(bytes.size(), 65 * mebibyte);
}

TEST_F(Launcher, EndsAReadThatAnotherThreadWaitsIn) {
    const auto pipe = launcher_.makePipe();
    auto description = shellScript(gate());
    description.standardOutput = ChildStream::through(pipe);
    const auto child = launcher_.launch(description);
    std::promise<long> reader;
    auto read = std::async(std::launch::async, [&] {
        reader.set_value(::gettid());
        return qf::availableData(*pipe).bytes.size();
    });
    EXPECT_TRUE(isAsleep(reader.get_future().get()));
    pipe->closeReadEnd();
    EXPECT_EQ(read.get(), 0U);
    openGate();
}

TEST_F(Launcher, EndsAReadAtOnceThatBeginsAfterTheReadEndWasClosed) {
    const auto pipe = launcher_.makePipe();
    auto description = shellScript(gate());
    description.standardOutput = ChildStream::through(pipe);
    const auto child = launcher_.launch(description);
    pipe->closeReadEnd();
    EXPECT_TRUE(qf::availableData(*pipe).bytes.empty());
    pipe->closeReadEnd();
    EXPECT_TRUE(qf::availableData(*pipe).bytes.empty());
    openGate();
}

TEST_F(Launcher, AChildCannotWriteIntoAPipeThatIsClosedHere) {
    const auto pipe = launcher_.makePipe();
    auto description = shellScript(gate() + "; echo out; :");
    description.standardOutput = ChildStream::through(pipe);
    const auto child = launcher_.launch(description);
    pipe->closeReadEnd();
    openGate();
    child->waitUntilExit();
    EXPECT_EQ(child->terminationStatus(), SIGPIPE);
}

TEST_F(Launcher, HandsTheEnvironmentOver) {
    ProcessDescription description;
    description.launchPath = "/usr/bin/env";
    description.environment = {{"B", "2"}, {"A", "a=1"}};
    EXPECT_EQ(outputOf(description), "A=a=1\nB=2\n");
}

/// Changes the environment over and over while children are launched.
template <class Change>
void changeMeanwhile(Change change, const std::function<void()>& launch) {
    std::atomic<bool> over{false};
    const auto changing = std::async(std::launch::async, [&] {
        for (int number = 0; !over; ++number) {
            change("QF_CHANGING_" + std::to_string(number % 2000));
        }
    });
    for (int count = 0; count < 100; ++count) {
        EXPECT_NO_THROW(launch());
    }
    over = true;
}

TEST_F(Launcher, LaunchesWhileAnotherThreadChangesTheEnvironmentOnItsOwn) {
    if (isSanitized()) {
        GTEST_SKIP()
            << "a sanitizer reads the environment before the system does, and finds it freed";
    }
    changeMeanwhile(
        [](const std::string& name) {
            if (::getenv(name.c_str()) == nullptr) {
                ::setenv(name.c_str(), "value", 1);
            } else {
                ::unsetenv(name.c_str());
            }
        },
        [this] { launch("exit 0")->waitUntilExit(); });
}

/// Keeps whoever opens a file waiting until it is let go.
class HeldFile {
public:
    explicit HeldFile(const std::string& path) : file_(::open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
        isHeld_ = ::fcntl(file_.get(), F_SETLEASE, F_WRLCK) == 0;
    }
    ~HeldFile() { std::signal(SIGIO, former_); }
    HeldFile(const HeldFile&) = delete;
    HeldFile& operator=(const HeldFile&) = delete;
    HeldFile(HeldFile&&) = delete;
    HeldFile& operator=(HeldFile&&) = delete;

    bool isHeld() const { return isHeld_; }
    void waitUntilOpened() const {
        while (::fcntl(file_.get(), F_GETLEASE) == F_WRLCK) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }
    void letGo() const { EXPECT_EQ(::fcntl(file_.get(), F_SETLEASE, F_UNLCK), 0); }

private:
    /// The system tells the holder of each opening.
    void (*const former_)(int) = std::signal(SIGIO, SIG_IGN);
    qf::native::FileDescriptor file_;
    bool isHeld_ = false;
};

TEST_F(Launcher, HasNobodyChangeTheEnvironmentWhileAProgramBegins) {
    using qf::native::Environment;
    const std::string program = directory_ / "program";
    std::filesystem::copy_file("/bin/true", program);
    const HeldFile held(program);
    if (!held.isHeld()) {
        GTEST_SKIP() << "the volume has no leases";
    }
    ProcessDescription description;
    description.launchPath = program;
    auto launch = std::async(std::launch::async, [&] { return launcher_.launch(description); });
    held.waitUntilOpened();
    std::promise<long> changer;
    auto change = std::async(std::launch::async, [&changer] {
        changer.set_value(::gettid());
        Environment::set("QF_HELD", "changed");
    });
    EXPECT_TRUE(isAsleep(changer.get_future().get()));
    held.letGo();
    launch.get()->waitUntilExit();
    change.get();
    Environment::remove("QF_HELD");
}

TEST_F(Launcher, HandsAWholeEnvironmentOverWhileItIsChangedByThePlatformsOwnMeans) {
    using qf::native::Environment;
    Environment::set("QF_KEPT", "kept");
    changeMeanwhile(
        [](const std::string& name) {
            Environment::set(name, std::string(100, 'v'));
            Environment::remove(name);
        },
        [this] { EXPECT_EQ(outputOf("echo $QF_KEPT"), "kept\n"); });
    Environment::remove("QF_KEPT");
    EXPECT_EQ(outputOf("echo $QF_KEPT"), "\n");
}

/// A child that holds three of the program's pipes until its gate is opened.
struct HeldRun {
    HeldRun(qf::ProcessLauncher& launcher, ProcessDescription description)
        : pipes(launcher.makePipes(3)) {
        description.standardInput = ChildStream::through(pipes[0]);
        description.standardOutput = ChildStream::through(pipes[1]);
        description.standardError = ChildStream::through(pipes[2]);
        child = launcher.launch(description);
    }

    std::vector<std::shared_ptr<qf::Pipe>> pipes;
    std::shared_ptr<qf::ChildProcess> child;
};

class LauncherShortOfDescriptors : public Launcher,
                                   public testing::WithParamInterface<std::size_t> {};

TEST_P(LauncherShortOfDescriptors, MakesPipesOnceAnotherRunHasGivenItsOwnBack) {
    launcher_.makePipes(1); // what all pipes share now exists
    const auto lowered = limitLeaving(GetParam());
    std::optional<HeldRun> run(std::in_place, launcher_, shellScript(gate()));
    const auto before = openDescriptors();
    const ScopedLimit<RLIMIT_NOFILE> limit(lowered);
    std::promise<long> starter;
    auto made = std::async(std::launch::async, [&] {
        starter.set_value(::gettid());
        return launcher_.makePipes(3).size();
    });
    EXPECT_TRUE(isAsleep(starter.get_future().get()));
    EXPECT_EQ(made.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    EXPECT_EQ(openDescriptors(), before) << "it keeps some while it waits";
    openGate();
    run->child->waitUntilExit();
    run.reset();
    EXPECT_EQ(made.get(), 3U);
}

// A run begins with six and keeps four. What is left then is too little for two pipes, or for what
// the rest of the program may need beside three.
INSTANTIATE_TEST_SUITE_P(Left, LauncherShortOfDescriptors, testing::Values(6, 7, 30));

TEST_F(Launcher, MakesPipesOfTheLastDescriptorsWhereNoOtherRunHasAny) {
    launcher_.makePipes(3);
    const ScopedLimit<RLIMIT_NOFILE> limit(limitLeaving(6));
    EXPECT_EQ(launcher_.makePipes(3).size(), 3U);
}

TEST_F(Launcher, MakesAllPipesOfARunOrNone) {
    launcher_.makePipes(3);
    const auto before = openDescriptors();
    bool made = true;
    {
        const ScopedLimit<RLIMIT_NOFILE> limit(limitLeaving(5));
        try {
            launcher_.makePipes(3);
        } catch (const qf::Exception&) {
            made = false;
        }
    }
    EXPECT_FALSE(made);
    EXPECT_EQ(openDescriptors(), before);
}

TEST(RunDescriptors, WaitNoLongerThanTheirPatience) {
    qf::native::RunDescriptors descriptors(std::chrono::milliseconds(20));
    descriptors.opened();
    std::optional<qf::Exception> failure;
    {
        const ScopedLimit<RLIMIT_NOFILE> limit(limitLeaving(0));
        try {
            descriptors.openPipes(1);
        } catch (const qf::Exception& exception) {
            failure = exception;
        }
    }
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->reason(), "the system has no pipe left: Too many open files");
}

TEST_F(Launcher, RunsOutOfDescriptorsWithAnException) {
    std::vector<std::shared_ptr<qf::Pipe>> pipes;
    try {
        // The exception is examined outside: sanitizers need descriptors of their own.
        const ScopedLimit<RLIMIT_NOFILE> limit(40);
        for (int count = 0; count < 40; ++count) {
            pipes.push_back(launcher_.makePipe());
        }
        FAIL() << "the limit was not reached";
    } catch (const qf::Exception& exception) {
        EXPECT_EQ(exception.name(), "NSFileHandleOperationException");
        EXPECT_EQ(exception.reason(), "the system has no pipe left: Too many open files");
    }
}

} // namespace

extern "C" {
// The linker has the launcher call these: NOLINTBEGIN(bugprone-reserved-identifier)
int __real_pidfd_open(pid_t process, unsigned flags);
int __wrap_pidfd_open(pid_t process, unsigned flags) {
    if (refusesChildDescriptors) {
        errno = EPERM;
        return -1;
    }
    return __real_pidfd_open(process, flags);
}
int __real_epoll_ctl(int set, int operation, int descriptor, epoll_event* event);
int __wrap_epoll_ctl(int set, int operation, int descriptor, epoll_event* event) {
    if (refusesWatches && operation == EPOLL_CTL_ADD) {
        errno = ENOSPC;
        return -1;
    }
    return __real_epoll_ctl(set, operation, descriptor, event);
}
// NOLINTEND(bugprone-reserved-identifier)
}
