#include "platform/linux/desktop/HomeTrash.h"

#include "tests/platform/linux/RunChild.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

namespace fs = std::filesystem;

namespace {

/// A home directory of its own. GLib remembers the data directory, so each call is a child's.
class HomeTrashTest : public testing::Test {
protected:
    int makeTrash() const { return runChild({"make-trash", link_}, environment_).status; }
    std::string target() const { return fs::read_symlink(link_); }

    TemporaryDirectory home_;
    std::string link_ = home_ / ".Trash";
    std::vector<std::string> environment_{"HOME=" + home_.path()};
};

TEST_F(HomeTrashTest, IsMadeForItsOwnerAlone) {
    ASSERT_EQ(makeTrash(), 0);

    for (const auto* name : {"", "/files", "/info"}) {
        EXPECT_EQ(fs::status((home_ / ".local/share/Trash") + name).permissions(), fs::perms(0700))
            << name;
    }
    EXPECT_EQ(target(), home_ / ".local/share/Trash/files");
}

TEST_F(HomeTrashTest, IsInTheDataDirectory) {
    environment_.push_back("XDG_DATA_HOME=" + (home_ / "data"));

    ASSERT_EQ(makeTrash(), 0);

    EXPECT_EQ(target(), home_ / "data/Trash/files");
}

TEST_F(HomeTrashTest, IsLinkedAgainOnceTheDataDirectoryDiffers) {
    ASSERT_EQ(makeTrash(), 0);
    environment_.push_back("XDG_DATA_HOME=" + (home_ / "data"));

    ASSERT_EQ(makeTrash(), 0);

    EXPECT_EQ(target(), home_ / "data/Trash/files");
    EXPECT_TRUE(fs::is_directory(home_ / ".local/share/Trash/files"));
}

TEST_F(HomeTrashTest, KeepsALinkThatLeadsThereAnotherWay) {
    fs::create_directories(home_ / ".local/share/Trash/files");
    ASSERT_EQ(::symlink(".local", (home_ / "elsewhere").c_str()), 0);
    const auto detour = home_ / "elsewhere/share/Trash/files";
    ASSERT_EQ(::symlink(detour.c_str(), link_.c_str()), 0);

    ASSERT_EQ(makeTrash(), 0);

    EXPECT_EQ(target(), detour);
}

TEST_F(HomeTrashTest, LeavesALinkOfTheUsersOwn) {
    ASSERT_EQ(::symlink("elsewhere/files", link_.c_str()), 0);

    ASSERT_EQ(makeTrash(), 0);

    EXPECT_EQ(target(), "elsewhere/files");
    EXPECT_FALSE(exists(home_ / ".local"));
}

} // namespace
