#include "app/records/Jobs.h"

#include "platform/linux/process/ProcessLauncher.h"
#include "platform/linux/process/ToolOverlay.h"
#include "tests/app/records/MachineOnDisk.h"

#include <filesystem>
#include <optional>
#include <set>
#include <string>

namespace fs = std::filesystem;
using records::LaunchdJobs;

namespace {

/// A machine whose launchctl is a script of the test's.
class LaunchdJobsTest : public MachineOnDisk {
protected:
    LaunchdJobsTest() : formerOverlay_(qf::native::setToolOverlay(home / "tools")) {}
    ~LaunchdJobsTest() override { qf::native::setToolOverlay(formerOverlay_); }

    void setLaunchctl(const std::string& script) const {
        const auto tool = home / "tools/bin/launchctl";
        write(tool, "#!/bin/sh\n" + script);
        fs::permissions(tool, fs::perms(0755));
    }

    LaunchdJobs launchd;

private:
    qf::native::ProcessLauncher launcher_;
    qf::ScopedService<qf::ProcessLauncher> launcherScope_{launcher_};
    const std::string formerOverlay_;
};

TEST_F(LaunchdJobsTest, AreThoseThatLaunchctlLists) {
    setLaunchctl(
        "test \"$*\" = list && printf 'PID\\tStatus\\tLabel\\n12\\t0\\ta b\\n-\\t1\\tc\\n'");

    EXPECT_EQ(launchd.loaded(), (std::set<std::string>{"a b", "c"}));
}

TEST_F(LaunchdJobsTest, AreNoneInAListThatIsEmpty) {
    setLaunchctl("printf 'PID\\tStatus\\tLabel\\n'");

    EXPECT_EQ(launchd.loaded(), std::set<std::string>{});
}

TEST_F(LaunchdJobsTest, AreUnknownWhereLaunchctlFails) {
    setLaunchctl("echo 'launchctl: there is no service manager' >&2; exit 1");

    EXPECT_EQ(launchd.loaded(), std::nullopt);
}

TEST_F(LaunchdJobsTest, AreUnknownWhereLaunchctlSaysNothing) {
    setLaunchctl("exit 0");

    EXPECT_EQ(launchd.loaded(), std::nullopt);
}

TEST_F(LaunchdJobsTest, AreLoadedByTheirFiles) {
    setLaunchctl("echo \"$*\" > '" + home / "words" + "'");

    launchd.load("/some/job.plist");

    EXPECT_EQ(contentOf(home / "words"), "load /some/job.plist\n");
}

TEST_F(LaunchdJobsTest, AreInTheUsersLibrary) {
    EXPECT_EQ(records::jobFile("com.quillfen.Lunevar"), agent("Lunevar"));
}

} // namespace
