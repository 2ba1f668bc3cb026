// The program's end of the connection, with a helper at the other that does as a test says.

#include "platform/linux/authorization/HelperConnection.h"

#include "platform/Console.h"
#include "platform/linux/authorization/AuthorizationServices.h"
#include "platform/linux/authorization/HelperStart.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <filesystem>
#include <sstream>
#include <thread>

using namespace platform;
using platform::native::FileDescriptor;
using platform::native::HelperConnection;
using platform::native::helper::Reply;
using platform::native::helper::Status;

namespace {

class LineConsole : public Console {
public:
    explicit LineConsole(std::ostream& lines) : lines_(lines) {}
    void systemLog(std::string_view message) override { lines_ << message << '\n'; }
    void print(std::string_view /*text*/) override {}

private:
    std::ostream& lines_;
};

/// A process that traces this one, for a scope.
class Tracer {
public:
    Tracer() {
        std::array<int, 2> ends{-1, -1};
        EXPECT_EQ(::pipe(ends.data()), 0);
        const FileDescriptor told(ends[0]);
        FileDescriptor tell(ends[1]);
        ::prctl(PR_SET_PTRACER, PR_SET_PTRACER_ANY);
        process_ = ::fork();
        if (process_ == 0) {
            const char result =
                ::ptrace(PTRACE_SEIZE, ::getppid(), nullptr, nullptr) == 0 ? 'y' : 'n';
            ::_exit(::write(tell.get(), &result, 1) == 1 ? ::pause() : 1);
        }
        tell.reset();
        char result = 0;
        isAttached_ = ::read(told.get(), &result, 1) == 1 && result == 'y';
    }
    ~Tracer() {
        ::kill(process_, SIGKILL);
        ::waitpid(process_, nullptr, 0);
    }
    Tracer(const Tracer&) = delete;
    Tracer& operator=(const Tracer&) = delete;
    Tracer(Tracer&&) = delete;
    Tracer& operator=(Tracer&&) = delete;

    bool isAttached() const { return isAttached_; }
    pid_t process() const { return process_; }

private:
    pid_t process_ = -1;
    bool isAttached_ = false;
};

struct Ends {
    FileDescriptor program;
    FileDescriptor helper;
};

Ends makeEnds() {
    std::array<int, 2> ends{-1, -1};
    EXPECT_EQ(::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()), 0);
    return {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

/// Puts an answer where the program will find it when it has asked.
void answer(const Ends& ends, const void* bytes, std::size_t size) {
    ASSERT_EQ(::send(ends.helper.get(), bytes, size, 0), static_cast<ssize_t>(size));
}

void answer(const Ends& ends, Status status) {
    Reply reply;
    reply.status = status;
    answer(ends, &reply, sizeof reply);
}

AuthorizationStatus startedWith(Status status) {
    Ends ends = makeEnds();
    answer(ends, status);
    HelperConnection connection(std::move(ends.program));
    return connection.start("/bin/true", {}).error();
}

} // namespace

TEST(HelperConnection, GreetsAHelperThatIsReady) {
    Ends ends = makeEnds();
    answer(ends, Status::ready);
    HelperConnection connection(std::move(ends.program));
    EXPECT_TRUE(connection.handshake());
    EXPECT_TRUE(connection.isOpen());
}

TEST(HelperConnection, TakesNothingElseForAHelper) {
    Ends ends = makeEnds();
    Reply forged;
    forged.status = Status::ready;
    forged.signature[0] = 'Q';
    answer(ends, &forged, sizeof forged);
    answer(ends, "ready", 5);
    answer(ends, Status::startFailed);
    HelperConnection connection(std::move(ends.program));
    EXPECT_FALSE(connection.handshake());
    EXPECT_FALSE(connection.handshake());
    EXPECT_FALSE(connection.handshake());
    EXPECT_FALSE(connection.handshake(std::chrono::milliseconds(1))); // nobody answers
}

TEST(HelperConnection, TellsWhenTheHelperHasGone) {
    Ends ends = makeEnds();
    ends.helper.reset();
    HelperConnection connection(std::move(ends.program));
    EXPECT_FALSE(connection.isOpen());
    EXPECT_FALSE(connection.handshake());
    EXPECT_EQ(connection.start("/bin/true", {}).error(), errAuthorizationInternal);
}

TEST(HelperConnection, CountsAHelperAsGoneThatDoesNotAnswer) {
    Ends ends = makeEnds();
    HelperConnection connection(std::move(ends.program), std::chrono::milliseconds(1));
    EXPECT_EQ(connection.start("/bin/true", {}).error(), errAuthorizationInternal);
    EXPECT_FALSE(connection.isOpen());
    EXPECT_EQ(connection.start("/bin/true", {}).error(), errAuthorizationInternal);
}

TEST(HelperConnection, GivesEveryRefusalAStatusAndNoOutput) {
    for (int status = 1; status <= static_cast<int>(Status::notPlanned); ++status) {
        EXPECT_EQ(startedWith(Status{status}), errAuthorizationToolExecuteFailure) << status;
    }
    EXPECT_EQ(startedWith(Status::started), errAuthorizationToolExecuteFailure); // no output came
}

TEST(HelperConnection, SendsNoRequestThatNoHelperWouldTake) {
    Ends ends = makeEnds();
    HelperConnection connection(std::move(ends.program));
    const std::string large(2U << 20U, 'x');
    EXPECT_EQ(connection.start("/bin/true", {large}).error(), errAuthorizationToolExecuteFailure);
    EXPECT_EQ(connection.start("", {}).error(), errAuthorizationToolExecuteFailure);
    char byte = 0;
    EXPECT_EQ(::recv(ends.helper.get(), &byte, 1, MSG_DONTWAIT), -1);
}

TEST(HelperConnection, KeepsTheProcessToItselfForItsLifetime) {
    ASSERT_EQ(::prctl(PR_GET_DUMPABLE), 1);
    {
        const HelperConnection first(makeEnds().program);
        const HelperConnection second(makeEnds().program);
        EXPECT_EQ(::prctl(PR_GET_DUMPABLE), 0);
    }
    EXPECT_EQ(::prctl(PR_GET_DUMPABLE), 1);
}

TEST(AuthorizationServices, AsksNobodyWhileAnotherProcessTracesThisOne) {
    std::ostringstream lines;
    LineConsole console(lines);
    const ScopedService<Console> scope(console);
    const TemporaryDirectory directory;
    native::AuthorizationServices services({directory / "pkexec", directory / "helper"});
    const AuthorizationItemSet right{{.name = "system.privilege.admin", .value = {}}};
    const auto created = services.create({}, kAuthorizationFlagDefaults).value();
    const auto ask = [&](AuthorizationFlags flags, const AuthorizationItemSet& environment) {
        return services.copyRights(created, right, environment,
                                   flags + kAuthorizationFlagExtendRights);
    };
    const AuthorizationItemSet credentials{{.name = "username", .value = "root"},
                                           {.name = "password", .value = "x"}};
    {
        const Tracer tracer;
        if (!tracer.isAttached()) {
            GTEST_SKIP() << "this machine lets no process trace its parent";
        }
        EXPECT_EQ(ask(kAuthorizationFlagInteractionAllowed, {}).error(), errAuthorizationDenied);
        EXPECT_EQ(ask(0, credentials).error(), errAuthorizationDenied);
        const std::string line = "No administrator is asked, because process " +
                                 std::to_string(tracer.process()) + " traces this one\n";
        EXPECT_EQ(lines.str(), line + line);
    }
    EXPECT_NE(ask(kAuthorizationFlagInteractionAllowed, {}).error(), errAuthorizationDenied);
}

TEST(HelperStart, TellsTheWaysOfPkexecToEndApart) {
    const TemporaryDirectory directory;
    const auto statusOf = [&](const std::string& script) {
        const std::string pkexec = directory.write("pkexec", "#!/bin/sh\n" + script + "\n");
        std::filesystem::permissions(pkexec, std::filesystem::perms::owner_all);
        return native::startHelper({pkexec, "/bin/true"}).error();
    };
    EXPECT_EQ(statusOf("exit 126"), errAuthorizationCanceled);
    EXPECT_EQ(statusOf("exit 127"), errAuthorizationDenied);
    EXPECT_EQ(statusOf("exit 0"), errAuthorizationInternal);
    EXPECT_EQ(statusOf("kill -9 $$"), errAuthorizationInternal);
    EXPECT_EQ(native::startHelper({directory / "missing", "/bin/true"}).error(),
              errAuthorizationInternal);
    EXPECT_EQ(native::startHelper({"/bin/true", directory / "missing"}).error(),
              errAuthorizationInternal);
}

TEST(HelperStart, GivesPkexecNothingButTheConnectionAndAPath) {
    const TemporaryDirectory directory;
    const std::string pkexec =
        directory.write("pkexec", "#!/bin/sh\nexec > " + (directory / "seen") +
                                      "\necho \"$@\"\n/usr/bin/env -u PWD -u SHLVL -u _ -u OLDPWD\n"
                                      "/usr/bin/readlink /proc/self/fd/0 | /usr/bin/cut -c 1-7\n");
    std::filesystem::permissions(pkexec, std::filesystem::perms::owner_all);
    const ScopedEnvironment shell("SHELL", "/no/shell");
    static_cast<void>(native::startHelper({pkexec, "/bin/true"}));
    EXPECT_EQ(contentOf(directory / "seen"), "--disable-internal-agent /bin/true\n"
                                             "PATH=/usr/sbin:/usr/bin:/sbin:/bin\nsocket:\n");
}

TEST(HelperStart, InheritsNothingWithoutADescriptorOfRoots) {
    const ScopedEnvironment none("QF_AUTHORIZATION_DESCRIPTOR", std::nullopt);
    EXPECT_EQ(native::inheritedHelper().error(), errAuthorizationInternal);
    for (const char* number : {"", "x", "-1", "0", "1", "2", "3x", "99999", "99999999999999"}) {
        const ScopedEnvironment descriptor("QF_AUTHORIZATION_DESCRIPTOR", number);
        EXPECT_EQ(native::inheritedHelper().error(), errAuthorizationInternal) << number;
    }
}
