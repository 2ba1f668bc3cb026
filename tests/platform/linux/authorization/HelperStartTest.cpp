// How a helper is started, with a program of the test's own in the place of pkexec.

#include "platform/linux/authorization/HelperStart.h"

#include "tests/support/NamedCase.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/Tracer.h"

#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <future>
#include <string>

using namespace qf;

namespace {

namespace fs = std::filesystem;

/// A pkexec that says so when it has begun to ask, and answers as a helper when it is let go on.
class SlowPkexec {
public:
    SlowPkexec() {
        fs::permissions(directory_ / "", fs::perms::all);
        for (const auto& pipe : {begun_, answered_}) {
            EXPECT_EQ(::mkfifo(pipe.c_str(), 0666), 0);
            fs::permissions(pipe, fs::perms::all);
        }
        directory_.write("pkexec",
                         "#!/usr/bin/python3\nimport socket, struct\n"
                         "connection = socket.socket(fileno=0)\n"
                         "open(\"" +
                             begun_ +
                             "\", \"w\").close()\n"
                             "open(\"" +
                             answered_ +
                             "\").read()\n"
                             "connection.recv(1000)\n"
                             "connection.send(b\"qf-helper 1\\0\" + struct.pack(\"i\", 1))\n"
                             "connection.recv(1000)\n");
        fs::permissions(directory_ / "pkexec", fs::perms::all);
    }

    native::HelperPaths paths() const { return {directory_ / "pkexec", "/bin/true"}; }
    void waitUntilItAsks() const { std::ifstream(begun_).get(); }
    void letItAnswer() const { std::ofstream(answered_).close(); }

private:
    TemporaryDirectory directory_;
    const std::string begun_ = directory_ / "begun";
    const std::string answered_ = directory_ / "answered";
};

/// What is done as an ordinary user, whom the system lets trace only what is dumpable.
template <class Work>
int statusAsUser(const Work& work) {
    const pid_t child = ::fork();
    if (child == 0) {
        constexpr uid_t user = 12345;
        const bool isUser = ::geteuid() != 0 || ::setresuid(user, user, user) == 0;
        ::prctl(PR_SET_DUMPABLE, 1);
        ::_exit(isUser ? work() : 99);
    }
    int status = 0;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

/// When another process of the user could trace this one.
enum Traced { never = 0, before = 1, during = 2, after = 4, inTheEnd = 8, withoutHelper = 16 };

int whenTraced(const SlowPkexec& pkexec) {
    const auto isTraceable = [](Traced when) {
        return Tracer().isAttached() ? static_cast<int>(when) : 0;
    };
    int traced = isTraceable(before);
    auto starting =
        std::async(std::launch::async, [&] { return native::startHelper(pkexec.paths()); });
    pkexec.waitUntilItAsks();
    traced += isTraceable(during);
    pkexec.letItAnswer();
    auto started = starting.get();
    traced += started ? isTraceable(after) : withoutHelper;
    started = Unexpected(errAuthorizationInternal);
    starting = {};
    return traced + isTraceable(inTheEnd);
}

} // namespace

TEST(HelperStart, LetsNobodyTraceTheProgramFromTheQuestionToTheEndOfTheRight) {
    const SlowPkexec pkexec;
    const int traced = statusAsUser([&] { return whenTraced(pkexec); });
    if (traced == never) {
        GTEST_SKIP() << "this machine lets no process trace its parent";
    }
    EXPECT_EQ(traced, before + inTheEnd);
}

TEST(HelperStart, TellsTheWaysOfPkexecToEndApart) {
    const TemporaryDirectory directory;
    const auto statusOf = [&](const std::string& script) {
        const std::string pkexec = directory.write("pkexec", "#!/bin/sh\n" + script + "\n");
        fs::permissions(pkexec, fs::perms::owner_all);
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
    fs::permissions(pkexec, fs::perms::owner_all);
    const ScopedEnvironment shell("SHELL", "/no/shell");
    static_cast<void>(native::startHelper({pkexec, "/bin/true"}));
    EXPECT_EQ(contentOf(directory / "seen"), "--disable-internal-agent /bin/true\n"
                                             "PATH=/usr/sbin:/usr/bin:/sbin:/bin\nsocket:\n");
}

/// What names an inherited descriptor of root's, and does not.
struct InheritedDescriptor : NamedCase {
    std::optional<std::string> number;
};

class HelperStartInheriting : public testing::TestWithParam<InheritedDescriptor> {};

TEST_P(HelperStartInheriting, NeedsADescriptorOfRoots) {
    const ScopedEnvironment descriptor("QF_AUTHORIZATION_DESCRIPTOR", GetParam().number);
    EXPECT_EQ(native::inheritedHelper().error(), errAuthorizationInternal);
}

INSTANTIATE_TEST_SUITE_P(
    , HelperStartInheriting,
    testing::Values(InheritedDescriptor{{"Unset"}, std::nullopt},
                    InheritedDescriptor{{"Empty"}, ""}, InheritedDescriptor{{"NoNumber"}, "x"},
                    InheritedDescriptor{{"Negative"}, "-1"}, InheritedDescriptor{{"Input"}, "0"},
                    InheritedDescriptor{{"Output"}, "1"}, InheritedDescriptor{{"Errors"}, "2"},
                    InheritedDescriptor{{"NumberAndMore"}, "3x"},
                    InheritedDescriptor{{"Closed"}, "99999"},
                    InheritedDescriptor{{"TooLarge"}, "99999999999999"}),
    nameOfCase);
