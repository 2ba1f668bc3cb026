#include "platform/linux/process/ToolOverlay.h"

#include "platform/foundation/Exception.h"
#include "platform/linux/process/ProcessLauncher.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <filesystem>
#include <utility>

namespace {

using qf::native::resolveTool;

class ToolOverlay : public testing::Test {
protected:
    ToolOverlay() : installed_(qf::native::setToolOverlay(directory_.path())) {}
    ~ToolOverlay() override { qf::native::setToolOverlay(installed_); }

    /// Puts a stand-in for the tool of that path into the overlay.
    std::string standIn(const std::string& tool, const std::string& content,
                        mode_t mode = S_IRWXU) const {
        auto path = directory_.write(tool.substr(1), content);
        ::chmod(path.c_str(), mode);
        return path;
    }

    const TemporaryDirectory directory_;

    const std::string installed_;
};

TEST_F(ToolOverlay, FindsAStandInUnderTheToolsOwnPath) {
    const auto path = standIn("/bin/launchctl", "#!/bin/sh\n");
    EXPECT_EQ(resolveTool("/bin/launchctl"), path);
    EXPECT_EQ(path, directory_.path() + "/bin/launchctl");
}

TEST_F(ToolOverlay, PrefersAStandInToTheToolThatTheMachineHas) {
    const auto path = standIn("/bin/sh", "#!/bin/cat\n");
    EXPECT_EQ(resolveTool("/bin/sh"), path);
}

class PathWithoutStandIn : public ToolOverlay, public testing::WithParamInterface<std::string> {};

TEST_P(PathWithoutStandIn, StaysAsItIs) {
    standIn("/bin/launchctl", "#!/bin/sh\n");
    EXPECT_EQ(resolveTool(GetParam()), GetParam());
}

INSTANTIATE_TEST_SUITE_P(All, PathWithoutStandIn,
                         testing::Values("/bin/sh", "bin/launchctl", "", "/", "/bin",
                                         "/bin/../bin/launchctl", "//bin/launchctl",
                                         "/bin/launchctl/", "/bin/./launchctl",
                                         "/bin/launchctl/x"));

TEST_F(ToolOverlay, HasNoStandInBesideItsDirectory) {
    standIn("/tools-of-others/tool", "#!/bin/sh\n");
    qf::native::setToolOverlay(directory_ / "tools");
    EXPECT_EQ(resolveTool("-of-others/tool"), "-of-others/tool");
}

TEST_F(ToolOverlay, LeavesThePathWhenTheStandInCannotBeRun) {
    standIn("/bin/launchctl", "#!/bin/sh\n", S_IRUSR);
    EXPECT_EQ(resolveTool("/bin/launchctl"), "/bin/launchctl");
    directory_.makeDirectory("usr/bin/ditto");
    EXPECT_EQ(resolveTool("/usr/bin/ditto"), "/usr/bin/ditto");
}

TEST_F(ToolOverlay, FollowsALinkToTheStandIn) {
    standIn("/tools", "#!/bin/sh\n");
    std::filesystem::create_directories(directory_ / "usr/bin");
    std::filesystem::create_symlink("../../tools", directory_ / "usr/bin/ditto");
    EXPECT_EQ(resolveTool("/usr/bin/ditto"), directory_ / "usr/bin/ditto");
}

TEST_F(ToolOverlay, LeavesEveryPathWithoutAnOverlay) {
    standIn("/bin/launchctl", "#!/bin/sh\n");
    qf::native::setToolOverlay("");
    EXPECT_EQ(resolveTool("/bin/launchctl"), "/bin/launchctl");
}

TEST_F(ToolOverlay, TheInstallationsOverlayLiesBesideTheProgramsDirectory) {
    const auto program = std::filesystem::read_symlink("/proc/self/exe");
    EXPECT_TRUE(installed_.starts_with(program.parent_path().parent_path().string())) << installed_;
    EXPECT_TRUE(installed_.ends_with("/kelvane-uninstaller/tools")) << installed_;
}

TEST_F(ToolOverlay, AToolCanBeLaunchedIfItsStandInCan) {
    qf::native::ProcessLauncher launcher;
    EXPECT_FALSE(launcher.canLaunch("/no/such/tool"));
    standIn("/no/such/tool", "#!/bin/sh\n");
    EXPECT_TRUE(launcher.canLaunch("/no/such/tool"));
}

TEST_F(ToolOverlay, TheLauncherRunsTheStandIn) {
    standIn("/no/such/tool", "#!/bin/sh\nexit $(($1 + 1))\n");
    qf::native::ProcessLauncher launcher;
    qf::ProcessDescription description;
    description.launchPath = "/no/such/tool";
    description.arguments = {"41"};
    const auto child = launcher.launch(description);
    child->waitUntilExit();
    EXPECT_EQ(child->terminationStatus(), 42);
}

TEST_F(ToolOverlay, MessagesShowThePathAskedFor) {
    standIn("/no/such/tool", "no program\n");
    qf::native::ProcessLauncher launcher;
    qf::ProcessDescription description;
    description.launchPath = "/no/such/tool";
    try {
        launcher.launch(description);
        FAIL() << "it was launched";
    } catch (const qf::Exception& exception) {
        EXPECT_EQ(exception.reason(), "/no/such/tool could not be launched: the file is not a "
                                      "program that this machine can run");
    }
}

} // namespace
