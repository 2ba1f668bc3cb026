#include "platform/linux/desktop/Workspace.h"

#include "platform/Console.h"
#include "platform/Services.h"
#include "platform/linux/desktop/Volumes.h"
#include "platform/linux/plist/PropertyLists.h"
#include "tests/support/PortDoubles.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <iterator>

namespace {

/// A home directory and a machine whose Applications directories are temporary.
class WorkspaceTest : public testing::Test {
protected:
    WorkspaceTest() {
        account_.home = home_.path();
        searchPaths_.lists[{qf::DirectoryKind::application, qf::DomainMask::local}] = {
            machine_ / "Applications"};
    }

    static std::string install(const TemporaryDirectory& directory, const std::string& path) {
        directory.write(path + "/Contents/Info.plist",
                        "<plist><dict><key>CFBundleIdentifier</key>"
                        "<string>com.quillfen.Dunmarl</string></dict></plist>");
        return directory / path;
    }

    std::optional<std::string> find() { return workspace_.applicationPath("com.quillfen.Dunmarl"); }

    const ScopedEnvironment dataHome_{"XDG_DATA_HOME", std::nullopt};
    const ScopedEnvironment dataDirectories_{"XDG_DATA_DIRS", "/nowhere"};
    TemporaryDirectory home_;
    TemporaryDirectory machine_;
    RecordingConsole console_;
    const qf::ScopedService<qf::Console> installed_{console_};

private:
    FakeAccount account_;
    FakeSearchPaths searchPaths_;
    qf::native::PropertyLists propertyLists_;

protected:
    qf::native::Workspace workspace_{account_, searchPaths_, propertyLists_};
};

TEST_F(WorkspaceTest, FindsTheUsersApplicationsBeforeTheMachines) {
    const auto machines = install(machine_, "Applications/A.app");
    EXPECT_EQ(find(), machines);

    const auto own = install(home_, "Applications/Z.app");
    EXPECT_EQ(find(), own);
}

TEST_F(WorkspaceTest, LooksIntoTheRegistryWhenNoDirectoryHoldsTheApplication) {
    const auto registered = install(machine_, "elsewhere/B.app");
    ASSERT_TRUE(workspace_.registerApplication(registered));
    EXPECT_EQ(find(), registered);

    const auto installed = install(machine_, "Applications/A.app");
    EXPECT_EQ(find(), installed);
}

TEST_F(WorkspaceTest, FindsNoApplicationWithoutAnIdentifier) {
    machine_.write("Applications/A.app/Contents/Info.plist", "<plist><dict/></plist>");

    EXPECT_EQ(workspace_.applicationPath(""), std::nullopt);
}

TEST_F(WorkspaceTest, TellsWhatCouldNotBeTrashedWithoutAWordInTheSystemLog) {
    home_.makeDirectory("items");
    home_.makeDirectory(".Trash");

    const auto recycled = workspace_.recycle(home_ / "items", home_ / ".Trash", "missing");

    ASSERT_FALSE(recycled);
    EXPECT_EQ(recycled.error().code, ENOENT);
    EXPECT_EQ(recycled.error().localizedDescription,
              "“missing” couldn’t be moved to the Trash because it doesn’t exist.");
    EXPECT_TRUE(console_.systemLogLines().empty());
}

TEST_F(WorkspaceTest, TrashesWithoutAWordInTheSystemLog) {
    home_.write("items/a.txt", "content");
    home_.makeDirectory(".Trash");

    ASSERT_TRUE(workspace_.recycle(home_ / "items", home_ / ".Trash", "a.txt"));

    EXPECT_EQ(contentOf(home_ / ".Trash/a.txt"), "content");
    EXPECT_TRUE(console_.systemLogLines().empty());
}

TEST_F(WorkspaceTest, TellsWhyALabelCouldNotBeSet) {
    EXPECT_EQ(workspace_.setLabelNumber(home_ / "missing", 1).error().code, ENOENT);
    EXPECT_EQ(workspace_.labelNumber(home_ / "missing"), std::nullopt);
}

TEST_F(WorkspaceTest, HasThePathsOfTheVolumes) {
    const auto volumes = qf::native::mountedLocalVolumes();
    std::vector<std::string> expected;
    std::ranges::transform(volumes, std::back_inserter(expected), &qf::native::Volume::mountPoint);
    if (expected.empty()) {
        GTEST_SKIP() << "this machine has no local volume";
    }

    EXPECT_EQ(workspace_.mountedLocalVolumePaths(), expected);
}

TEST_F(WorkspaceTest, TakesABundleForOneItem) {
    EXPECT_TRUE(workspace_.isFilePackage(install(home_, "A.app")));
    EXPECT_FALSE(workspace_.isFilePackage(home_.makeDirectory("folder")));
}

} // namespace
