// In which order files change and the service manager is asked.

#include "platform/linux/posix/FileDescriptor.h"
#include "tests/platform/linux/RunChild.h"
#include "tests/support/TemporaryDirectory.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <future>
#include <optional>

namespace fs = std::filesystem;

namespace {

/// The program, run by an ordinary user with a service manager that prints what it is asked and
/// what is in the directory of units then.
class LaunchctlOrder : public testing::Test {
protected:
    LaunchctlOrder() {
        for (const auto* name : {"bin", "lib", "run"}) {
            fs::create_directory(home_ / name);
            fs::permissions(home_ / name, fs::perms(0777));
        }
        fs::permissions(home_.path(), fs::perms(0777));
        fs::copy_file(QF_CHILD, home_ / "bin/launchctl");
        fs::copy_file(QF_NOTING_MANAGER, home_ / "lib/systemd.so");
        fs::permissions(job_, fs::perms(0644));
    }

    std::string launchctl(const std::string& command,
                          const std::string& variable = "LANG=C") const {
        auto words = asOrdinaryUser();
        words.insert(words.end(), {home_ / "bin/launchctl", command});
        if (command != "list") {
            words.push_back(job_);
        }
        return run(words, {"HOME=" + home_.path(), "XDG_RUNTIME_DIR=" + (home_ / "run"),
                           "LSAN_OPTIONS=detect_leaks=0", variable})
            .output;
    }

    const TemporaryDirectory home_;
    const std::string job_ =
        home_.write("a.plist", "<plist version=\"1.0\"><dict><key>Label</key><string>a</string>"
                               "<key>Program</key><string>/bin/true</string>"
                               "<key>RunAtLoad</key><true/></dict></plist>");
};

TEST_F(LaunchctlOrder, LinksAJobOnceItHasStarted) {
    EXPECT_EQ(launchctl("load"), "reload: a.service\n"
                                 "start a.service: a.service\n"
                                 "reload: a.service default.target.wants/a.service\n");
}

TEST_F(LaunchctlOrder, TakesLinksAwayBeforeAJobIsStoppedAndItsFilesAfterwards) {
    launchctl("load");

    EXPECT_EQ(launchctl("unload"), "stop a.service: a.service\n"
                                   "forget a.service: a.service\n"
                                   "reload:\n");
}

TEST_F(LaunchctlOrder, TakesAllFilesAwayBeforeAJobIsStoppedThatCouldNotBeStarted) {
    EXPECT_EQ(launchctl("load", "QF_REFUSE_START=1"), "reload: a.service\n"
                                                      "start a.service: a.service\n"
                                                      "stop a.service:\n"
                                                      "forget a.service:\n"
                                                      "reload:\n"
                                                      "launchctl: refused\n");
}

TEST_F(LaunchctlOrder, TakesEverythingAwayOfAJobThatCannotBeLinkedButWhatIsInTheWay) {
    home_.write(".config/systemd/user/default.target.wants/a.service/file");
    for (const auto* name : {".config", ".config/systemd", ".config/systemd/user"}) {
        fs::permissions(home_ / name, fs::perms(0777));
    }

    const auto told = launchctl("load");

    EXPECT_THAT(told, testing::StartsWith(
                          "reload: a.service default.target.wants/a.service/file\n"
                          "start a.service: a.service default.target.wants/a.service/file\n"));
    EXPECT_THAT(told, testing::HasSubstr("stop a.service: default.target.wants/a.service/file\n"
                                         "forget a.service: default.target.wants/a.service/file\n"
                                         "reload: default.target.wants/a.service/file\n"));
}

/// Has a lock on a directory, as another run has that changes jobs, or whoever may read the
/// directory.
class HeldLock {
public:
    explicit HeldLock(const std::string& directory)
        : directory_(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
        EXPECT_EQ(::flock(directory_.get(), LOCK_EX | LOCK_NB), 0);
    }

private:
    qf::native::FileDescriptor directory_;
};

TEST_F(LaunchctlOrder, DoesNotDependOnWhoLocksTheUsersRuntimeDirectory) {
    const HeldLock lock(home_ / "run");

    EXPECT_THAT(launchctl("load"), testing::StartsWith("reload: a.service\n"));
}

TEST_F(LaunchctlOrder, ChangesNoJobWhileAnotherRunDoes) {
    launchctl("load");
    const HeldLock lock(home_ / "run/launchctl");

    EXPECT_EQ(launchctl("unload"), "launchctl: another run of launchctl does not end\n");
}

TEST_F(LaunchctlOrder, ListsJobsThoughAnotherRunDoesNotEnd) {
    launchctl("load");
    const HeldLock lock(home_ / "run/launchctl");

    EXPECT_EQ(launchctl("list"), "PID\tStatus\tLabel\n-\t0\ta\n");
}

TEST_F(LaunchctlOrder, ListsAJobOnceAnotherRunHasLoadedIt) {
    launchctl("load");
    const auto link = home_ / ".config/systemd/user/default.target.wants/a.service";
    fs::rename(link, home_ / "link");
    auto lock = std::make_optional<HeldLock>(home_ / "run/launchctl");

    auto listed = std::async(std::launch::async, [this] { return launchctl("list"); });
    EXPECT_EQ(listed.wait_for(std::chrono::milliseconds(300)), std::future_status::timeout);
    fs::rename(home_ / "link", link);
    lock.reset();

    EXPECT_EQ(listed.get(), "PID\tStatus\tLabel\n-\t0\ta\n");
}

TEST_F(LaunchctlOrder, HasNoTurnWhereTheDirectoryForThatIsSomebodyElses) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only root can make a directory of another user's";
    }
    fs::create_directory(home_ / "run/launchctl");
    const HeldLock lock(home_ / "run/launchctl");

    EXPECT_THAT(launchctl("load"), testing::StartsWith("reload: a.service\n"));
}

TEST_F(LaunchctlOrder, TakesDownWhatAnInterruptedRunHasLeftBeforeItLoadsAJob) {
    launchctl("load");
    fs::remove(home_ / ".config/systemd/user/default.target.wants/a.service");

    EXPECT_EQ(launchctl("load"), "stop a.service: a.service\n"
                                 "forget a.service: a.service\n"
                                 "reload:\n"
                                 "reload: a.service\n"
                                 "start a.service: a.service\n"
                                 "reload: a.service default.target.wants/a.service\n");
}

} // namespace
