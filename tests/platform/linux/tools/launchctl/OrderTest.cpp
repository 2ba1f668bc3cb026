// In which order files change and the service manager is asked.

#include "tests/platform/linux/RunChild.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <filesystem>

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
        words.insert(words.end(), {home_ / "bin/launchctl", command, job_});
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
