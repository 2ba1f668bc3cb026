#include "tests/platform/linux/authorization/helper/HelperHarness.h"

#include "platform/linux/authorization/helper/PassingMessage.h"

#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <poll.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <sys/time.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <future>

extern "C" { // which the header of the C library 2.36 leaves out
#include <sys/pidfd.h>
}

using qf::native::FileDescriptor;
using qf::native::helper::PassingMessage;
using qf::native::helper::Status;

namespace {

constexpr std::string_view logSocket = "/dev/log";

// Programs of the build tree, which may lie where the sandbox hides them.
const std::array<FileDescriptor, 3> helperFiles{
    FileDescriptor(::open(QF_HELPER, O_RDONLY | O_CLOEXEC)),
    FileDescriptor(::open(QF_IMPATIENT_HELPER, O_RDONLY | O_CLOEXEC)),
    FileDescriptor(::open(QF_PLANNED_HELPER, O_RDONLY | O_CLOEXEC))};
const FileDescriptor chownFile(::open(QF_CHOWN, O_RDONLY | O_CLOEXEC));

bool mountMemory(const std::string& directory, const char* options) {
    return ::mount("tmpfs", directory.c_str(), "tmpfs", 0, options) == 0;
}

/// Makes the two directories anew, without what an earlier test has left in them.
bool makeDirectories() {
    ::umount2(sandbox::rootsDirectory.c_str(), MNT_DETACH);
    ::umount2(sandbox::everybodysDirectory.c_str(), MNT_DETACH);
    return mountMemory(sandbox::rootsDirectory, "mode=755") &&
           mountMemory(sandbox::everybodysDirectory, "mode=1777");
}

bool replaceAccounts() {
    const std::string accounts = "/dev/accounts";
    std::ofstream(accounts) << "root:x:0:0::/root:/bin/sh\nserved:x:" << servedUser
                            << ":65534::" << sandbox::servedHome << ":/bin/sh\n";
    return ::mount(accounts.c_str(), "/etc/passwd", nullptr, MS_BIND, nullptr) == 0;
}

/// Leaves the rest of the machine as it is seen here, but not to be changed.
bool lockMachine() {
    return ::mount("/", "/", nullptr, MS_BIND | MS_REMOUNT | MS_RDONLY, nullptr) == 0;
}

std::string makeSandbox() {
    if (::geteuid() != 0) {
        return "the helper can only be tested as root";
    }
    if (::unshare(CLONE_NEWNS) != 0 ||
        ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        !mountMemory("/dev", "mode=755") || !makeDirectories() ||
        ::mknod("/dev/null", S_IFCHR | 0666, ::makedev(1, 3)) != 0 ||
        ::chmod("/dev/null", 0666) != 0 || !replaceAccounts() || !lockMachine()) {
        return std::string("the helper can only be tested with the right to mount: ") +
               std::strerror(errno);
    }
    return "";
}

/// Made before the first test, while the program has one thread.
class Sandbox : public testing::Environment {
public:
    void SetUp() override { obstacle = makeSandbox(); }
    static inline std::string obstacle;
};
const auto* const registered = testing::AddGlobalTestEnvironment(new Sandbox);

FileDescriptor listenToLog() {
    ::unlink(logSocket.data());
    FileDescriptor log(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    logSocket.copy(&address.sun_path[0], sizeof address.sun_path);
    EXPECT_EQ(::bind(log.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(::chmod(logSocket.data(), 0666), 0);
    return log;
}

/// Has this thread, and no other, act as a user for what it creates.
void actAs(uid_t user) {
    constexpr int unchanged = -1;
    ASSERT_EQ(::syscall(SYS_setresuid, unchanged, user, unchanged), 0);
}

constexpr sock_filter jump(std::uint16_t how, std::uint32_t value, std::uint8_t further) {
    return BPF_JUMP(static_cast<std::uint16_t>(BPF_JMP | BPF_K | how), value, further, 0);
}

constexpr sock_filter load(std::size_t place) {
    return BPF_STMT(BPF_LD | BPF_W | BPF_ABS, static_cast<std::uint32_t>(place));
}

constexpr sock_filter answer(std::uint32_t value) {
    return BPF_STMT(BPF_RET | BPF_K, value);
}

template <std::size_t size>
bool install(std::array<sock_filter, size> filter) {
    const sock_fprog program{filter.size(), filter.data()};
    return ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

/// Has alarms come all the time. The first waits until somebody lets it through.
void startTimer() {
    sigset_t alarms;
    ::sigemptyset(&alarms);
    ::sigaddset(&alarms, SIGALRM);
    ::sigprocmask(SIG_BLOCK, &alarms, nullptr);
    constexpr itimerval often{{0, 1}, {0, 1}};
    ::setitimer(ITIMER_REAL, &often, nullptr);
}

/// Has the system answer every wish for another process as it does when it has none left.
bool forbidForks() {
    return install(std::array{load(offsetof(seccomp_data, nr)), jump(BPF_JEQ, SYS_clone, 4),
                              jump(BPF_JEQ, SYS_clone3, 3), jump(BPF_JEQ, SYS_fork, 2),
                              jump(BPF_JEQ, SYS_vfork, 1), answer(SECCOMP_RET_ALLOW),
                              answer(SECCOMP_RET_ERRNO | EAGAIN)});
}

/// What the system is to do at a call whose third argument is meant.
constexpr auto filterOf(std::uint32_t call, sock_filter isMeant, std::uint32_t action) {
    constexpr std::size_t third = 2;
    return std::array{load(offsetof(seccomp_data, nr)),
                      jump(BPF_JEQ, call, 1),
                      answer(SECCOMP_RET_ALLOW),
                      load(offsetof(seccomp_data, args) + third * sizeof(std::uint64_t)),
                      isMeant,
                      answer(SECCOMP_RET_ALLOW),
                      answer(action)};
}

/// What the system is to do when something is opened only to be looked at.
constexpr auto filterOfLooks(std::uint32_t action) {
    return filterOf(SYS_openat, jump(BPF_JSET, O_PATH, 1), action);
}

/// Has the system answer looks as it does without memory.
bool forbidLooks() {
    return install(filterOfLooks(SECCOMP_RET_ERRNO | ENOMEM));
}

} // namespace

bool forbid(std::uint32_t call, int number) {
    return install(std::array{load(offsetof(seccomp_data, nr)), jump(BPF_JEQ, call, 1),
                              answer(SECCOMP_RET_ALLOW),
                              answer(SECCOMP_RET_ERRNO | static_cast<std::uint32_t>(number))});
}

namespace {

/// Has the system fail in whatever the setup says.
bool forbidWhatFails(const HelperSetup& setup) {
    return (setup.mayFork || forbidForks()) && (setup.mayLook || forbidLooks()) &&
           (setup.attributeFailure == 0 || forbid(SYS_fsetxattr, setup.attributeFailure)) &&
           (setup.volumeFailure == 0 || forbid(SYS_fstatfs, setup.volumeFailure)) &&
           (setup.renamingFailure == 0 || forbid(SYS_renameat2, setup.renamingFailure));
}

/// Has the looks of this thread wait for an answer, and returns the descriptor for that.
FileDescriptor listenToLooks() {
    auto filter = filterOfLooks(SECCOMP_RET_USER_NOTIF);
    const sock_fprog program{filter.size(), filter.data()};
    return FileDescriptor(static_cast<int>(::syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER,
                                                     SECCOMP_FILTER_FLAG_NEW_LISTENER, &program)));
}

} // namespace

const std::string& sandbox::obstacle() {
    return Sandbox::obstacle;
}

void HelperTest::SetUp() {
    if (!sandbox::obstacle().empty()) {
        GTEST_SKIP() << sandbox::obstacle();
    }
    ASSERT_TRUE(makeDirectories());
}

std::string HelperTest::usersDirectory() {
    const std::string directory = sandbox::everybodysDirectory + "/user";
    return exists(directory) ? directory : makeDirectory(directory, servedUser);
}

std::string HelperTest::makeDirectory(const std::string& path, uid_t owner, mode_t mode) {
    EXPECT_EQ(::mkdir(path.c_str(), mode), 0) << path;
    EXPECT_EQ(::chmod(path.c_str(), mode), 0);
    EXPECT_EQ(::chown(path.c_str(), owner, 0), 0);
    return path;
}

std::string HelperTest::makeFile(const std::string& path, uid_t owner, mode_t mode) {
    std::ofstream(path) << "content of " << path;
    EXPECT_EQ(::chmod(path.c_str(), mode), 0) << path;
    EXPECT_EQ(::chown(path.c_str(), owner, 0), 0);
    return path;
}

std::string HelperTest::makeLink(const std::string& target, const std::string& path, uid_t owner) {
    EXPECT_EQ(::symlink(target.c_str(), path.c_str()), 0) << path;
    EXPECT_EQ(::lchown(path.c_str(), owner, 0), 0);
    return path;
}

std::string HelperTest::copyChown(const std::string& path) {
    std::filesystem::copy_file("/proc/self/fd/" + std::to_string(chownFile.get()), path);
    return path;
}

bool HelperTest::exists(const std::string& path) {
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0;
}

TestedHelper::TestedHelper(const HelperSetup& setup) : log_(listenToLog()) {
    auto [ours, theirs] = connect(setup);
    constexpr int yes = 1;
    EXPECT_EQ(::setsockopt(theirs.get(), SOL_SOCKET, SO_PASSCRED, &yes, sizeof yes), 0);
    process_ = ::fork();
    if (process_ == 0) {
        become(setup, theirs.get());
    }
    connection_ = std::move(ours);
}

std::pair<FileDescriptor, FileDescriptor> TestedHelper::connect(const HelperSetup& setup) {
    std::array<int, 2> ends{-1, -1};
    const auto make = [&] {
        return ::socketpair(AF_UNIX, setup.socketType | SOCK_CLOEXEC, 0, ends.data());
    };
    if (!setup.isMadeByAnother) {
        actAs(setup.peer);
        EXPECT_EQ(make(), 0);
        actAs(0);
        return {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
    }
    constexpr int first = 200;
    maker_ = ::fork();
    if (maker_ == 0) {
        actAs(setup.peer);
        const bool isMade = make() == 0 && ::dup2(ends[0], first) > 0 && ::dup2(ends[1], first + 1);
        ::_exit(isMade ? ::raise(SIGSTOP) : 1);
    }
    EXPECT_EQ(::waitpid(maker_, nullptr, WUNTRACED), maker_);
    const FileDescriptor maker(::pidfd_open(maker_, 0));
    return {FileDescriptor(::pidfd_getfd(maker.get(), first, 0)),
            FileDescriptor(::pidfd_getfd(maker.get(), first + 1, 0))};
}

void TestedHelper::become(const HelperSetup& setup, int input) {
    if (setup.hasConnection) {
        ::dup2(input, STDIN_FILENO);
    } else {
        ::dup2(::open("/dev/null", O_RDONLY | O_CLOEXEC), STDIN_FILENO);
    }
    if (setup.invoker) {
        ::setenv("PKEXEC_UID", setup.invoker->c_str(), 1);
    } else {
        ::unsetenv("PKEXEC_UID");
    }
    for (const auto& [resource, value] : setup.limits) {
        const rlimit limit{value, RLIM_INFINITY};
        ::setrlimit(resource, &limit);
    }
    ::umask(setup.mask);
    if (setup.timeZone != nullptr) {
        ::setenv("TZ", setup.timeZone, 1);
    }
    if (setup.leftDescriptor >= 0) {
        ::fcntl(setup.leftDescriptor, F_SETFD, 0);
    }
    if (setup.hasTimer) {
        startTimer();
    }
    ::setpriority(PRIO_PROCESS, 0, setup.niceness);
    std::ofstream("/proc/self/oom_score_adj") << setup.memoryPenalty;
    if (setup.endsWithThread) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    }
    ::unsetenv("LSAN_OPTIONS"); // it may name a file that the sandbox hides
    if (!setup.mayFork) {
        ::setenv("LSAN_OPTIONS", "detect_leaks=0", 1); // leaks are looked for by a process
    }
    if (!forbidWhatFails(setup)) {
        ::_exit(98);
    }
    if (::setresuid(setup.runsAs, setup.runsAs, setup.runsAs) == 0) {
        std::string name = QF_HELPER;
        const std::array<char*, 2> arguments{name.data(), nullptr};
        const auto& file = helperFiles.at(static_cast<std::size_t>(setup.kind));
        ::fexecve(file.get(), arguments.data(), environ);
    }
    ::_exit(99);
}

TestedHelper::~TestedHelper() {
    disconnect();
    const int status = waitForEnd();
    EXPECT_TRUE(status == 0 || !hasAnswered_) << status;
    if (maker_ > 0) {
        ::kill(maker_, SIGKILL);
        ::waitpid(maker_, nullptr, 0);
    }
}

int TestedHelper::waitForEnd() {
    if (!exitStatus_) {
        int status = 0;
        EXPECT_EQ(::waitpid(process_, &status, 0), process_);
        exitStatus_ = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }
    return *exitStatus_;
}

bool TestedHelper::isRunning() {
    siginfo_t info{};
    const int result =
        ::waitid(P_PID, static_cast<id_t>(process_), &info, WEXITED | WNOHANG | WNOWAIT);
    return !exitStatus_ && result == 0 && info.si_pid == 0;
}

TestedHelper::Answer TestedHelper::send(std::string_view message) {
    if (::send(connection_.get(), message.data(), message.size(), MSG_NOSIGNAL) < 0) {
        return {};
    }
    return receive();
}

void TestedHelper::sendWithDescriptor(std::string_view text, int descriptor) const {
    std::string bytes(text);
    PassingMessage<int> message(bytes.data(), bytes.size());
    ASSERT_GT(message.send(connection_.get(), descriptor, MSG_NOSIGNAL), 0);
}

TestedHelper::Answer TestedHelper::receive() {
    pollfd answer{connection_.get(), POLLIN, 0};
    do {
        takeLogLines();
    } while (::poll(&answer, 1, 10) == 0);
    qf::native::helper::Reply reply;
    PassingMessage<int> message(&reply, sizeof reply);
    if (message.receive(connection_.get(), MSG_CMSG_CLOEXEC) != sizeof reply) {
        return {};
    }
    hasAnswered_ = true;
    return {reply.status, FileDescriptor(message.passed().value_or(-1))};
}

TestedHelper::Answer TestedHelper::start(const std::string& tool,
                                         const std::vector<std::string>& arguments) {
    return send(qf::native::helper::encodeRequest(tool, arguments).value());
}

std::string TestedHelper::outputOf(const std::string& tool,
                                   const std::vector<std::string>& arguments) {
    const auto answer = start(tool, arguments);
    return answer.status == Status::started ? readAll(answer.output.get()) : "refused";
}

Status TestedHelper::run(const std::string& tool, const std::vector<std::string>& arguments) {
    const auto answer = start(tool, arguments);
    if (answer.output) {
        readAll(answer.output.get());
    }
    return answer.status.value_or(Status::startFailed);
}

void TestedHelper::takeLogLines() {
    std::array<char, 8192> bytes{};
    for (;;) {
        const ssize_t size = ::recv(log_.get(), bytes.data(), bytes.size(), MSG_DONTWAIT);
        if (size <= 0) {
            return;
        }
        logLines_.emplace_back(bytes.data(), static_cast<std::size_t>(size));
    }
}

std::string TestedHelper::nextLogLine() {
    constexpr int longest = 30'000;
    if (pollfd line{log_.get(), POLLIN, 0}; !hasLogLine()) {
        ::poll(&line, 1, longest);
    }
    if (!hasLogLine()) {
        return "";
    }
    const std::string line = logLines_.front();
    logLines_.pop_front();
    const std::size_t begin = line.find("]: ") + 3;
    logLinesHead_ = line.substr(0, begin);
    return line.substr(begin);
}

bool TestedHelper::hasLogLine() {
    takeLogLines();
    return !logLines_.empty();
}

void runWithFailingLooks(const FailingLooks& failing, const std::function<void()>& work) {
    std::promise<int> listener;
    auto thread = std::async(std::launch::async, [&] {
        listener.set_value(listenToLooks().release());
        work();
    });
    const FileDescriptor looks(listener.get_future().get());
    pollfd next{looks.get(), POLLIN, 0};
    int count = 0;
    while (::poll(&next, 1, -1) == 1 && (next.revents & POLLIN) != 0) {
        seccomp_notif look{};
        ASSERT_EQ(::ioctl(looks.get(), SECCOMP_IOCTL_NOTIF_RECV, &look), 0);
        seccomp_notif_resp answer{};
        answer.id = look.id;
        if (++count >= failing.first && count < failing.first + failing.count) {
            answer.error = -failing.number;
        } else {
            answer.flags = SECCOMP_USER_NOTIF_FLAG_CONTINUE;
        }
        ASSERT_EQ(::ioctl(looks.get(), SECCOMP_IOCTL_NOTIF_SEND, &answer), 0);
    }
    thread.get();
}

int statusOfProcess(const std::function<int()>& work) {
    const pid_t child = ::fork();
    if (child == 0) {
        try {
            ::_exit(work());
        } catch (...) {
            ::_exit(255); // not the test's own failure, with which it would go on here
        }
    }
    int status = 0;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

bool forbidSeeks(int whence, int number) {
    return install(filterOf(SYS_lseek, jump(BPF_JEQ, static_cast<std::uint32_t>(whence), 1),
                            SECCOMP_RET_ERRNO | static_cast<std::uint32_t>(number)));
}

std::string readAll(int descriptor) {
    std::string all;
    std::array<char, 4096> bytes{};
    for (;;) {
        const ssize_t size = ::read(descriptor, bytes.data(), bytes.size());
        if (size <= 0) {
            return all;
        }
        all.append(bytes.data(), static_cast<std::size_t>(size));
    }
}
