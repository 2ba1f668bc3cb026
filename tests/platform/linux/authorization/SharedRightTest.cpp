// Asking for the administrator's right while the user is asked for it already, with a polkit and a
// pkexec of the test's own.

#include "platform/linux/authorization/RightRequests.h"

#include "tests/platform/linux/BusName.h"
#include "tests/platform/linux/SessionBus.h"
#include "tests/support/Eventually.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryDirectory.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include <cstddef>
#include <filesystem>
#include <future>
#include <string>
#include <thread>

namespace {

/// A pkexec that notes each question, and has the user dismiss it when it may.
class DismissedPkexec {
public:
    DismissedPkexec() {
        directory_.write("pkexec", "#!/bin/sh\necho >>'" + questions_ + "'\nflock '" + lock_ +
                                       "' true\nexit 126\n");
        std::filesystem::permissions(path(), std::filesystem::perms::owner_all);
        EXPECT_EQ(::flock(held_.get(), LOCK_EX), 0);
    }

    std::string path() const { return directory_ / "pkexec"; }
    std::size_t questions() const { return contentOf(questions_).size(); }
    void dismiss() { held_.reset(); }

private:
    const TemporaryDirectory directory_;
    const std::string questions_ = directory_.write("questions");
    const std::string lock_ = directory_.write("lock");
    qf::native::FileDescriptor held_{::open(lock_.c_str(), O_RDONLY | O_CLOEXEC)};
};

/// Whether a thread of this process waits for something, and not for a moment only.
bool isWaiting(pid_t thread) {
    constexpr int looks = 20;
    const std::string file = "/proc/self/task/" + std::to_string(thread) + "/stat";
    for (int look = 0; look < looks; ++look) {
        if (contentOf(file).find(") S ") == std::string::npos) {
            return false;
        }
        std::this_thread::yield();
    }
    return true;
}

} // namespace

TEST(SharedRight, IsOneQuestionForAllWhoAskMeanwhile) {
    const TemporaryDirectory services;
    services.write("org.freedesktop.PolicyKit1.service",
                   "[D-BUS Service]\nName=org.freedesktop.PolicyKit1\nExec=/bin/false\n");
    const SessionBus bus(services.path().c_str());
    const ScopedEnvironment systemBus("DBUS_SYSTEM_BUS_ADDRESS", bus.address());
    const BusName polkit(bus.address(), "org.freedesktop.PolicyKit1");
    DismissedPkexec pkexec;
    qf::native::RightRequests requests({pkexec.path(), "/bin/true"}, qf::native::Asking::always);
    auto first = std::async(std::launch::async, [&] { return requests.ask().error(); });
    EXPECT_TRUE(eventually([&] { return pkexec.questions() == 1; }));
    std::promise<pid_t> begun;
    auto second = std::async(std::launch::async, [&] {
        begun.set_value(::gettid());
        return requests.ask().error();
    });
    const pid_t thread = begun.get_future().get();
    EXPECT_TRUE(eventually([&] { return isWaiting(thread); }));
    pkexec.dismiss();
    EXPECT_EQ(first.get(), qf::errAuthorizationCanceled);
    EXPECT_EQ(second.get(), qf::errAuthorizationCanceled);
    EXPECT_EQ(pkexec.questions(), 1U);
}
