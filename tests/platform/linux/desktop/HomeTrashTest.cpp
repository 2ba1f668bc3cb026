#include "platform/linux/desktop/HomeTrash.h"

#include "tests/platform/linux/RunChild.h"
#include "tests/platform/linux/files/Faults.h"
#include "tests/support/CasePath.h"
#include "tests/support/NamedCase.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TreeDescription.h"

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
    /// The target of a link that the program makes.
    static std::string ownLinkTo(const std::string& data) { return data + "/Trash/./files"; }

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
    EXPECT_EQ(target(), ownLinkTo(home_ / ".local/share"));
    EXPECT_TRUE(fs::equivalent(link_, home_ / ".local/share/Trash/files"));
}

TEST_F(HomeTrashTest, IsInTheDataDirectory) {
    environment_.push_back("XDG_DATA_HOME=" + (home_ / "data"));

    ASSERT_EQ(makeTrash(), 0);

    EXPECT_EQ(target(), ownLinkTo(home_ / "data"));
}

TEST_F(HomeTrashTest, IsLinkedAgainOnceTheDataDirectoryDiffers) {
    ASSERT_EQ(makeTrash(), 0);
    environment_.push_back("XDG_DATA_HOME=" + (home_ / "data"));

    ASSERT_EQ(makeTrash(), 0);

    EXPECT_EQ(target(), ownLinkTo(home_ / "data"));
    EXPECT_TRUE(fs::is_directory(home_ / ".local/share/Trash/files"));
}

TEST_F(HomeTrashTest, KeepsItsLinkAndNoOtherIfThatCannotBeReplaced) {
    ASSERT_EQ(makeTrash(), 0);
    environment_ = withFaults(failing("rename:1", EIO));
    environment_.push_back("XDG_DATA_HOME=" + (home_ / "data"));

    EXPECT_NE(makeTrash(), 0);

    EXPECT_EQ(target(), ownLinkTo(home_ / ".local/share"));
    EXPECT_EQ(strangers(home_.path(), {".Trash", ".local", "data"}), std::vector<std::string>());
}

TEST_F(HomeTrashTest, KeepsALinkThatLeadsThereAnotherWay) {
    fs::create_directories(home_ / ".local/share/Trash/files");
    ASSERT_EQ(::symlink(".local", (home_ / "elsewhere").c_str()), 0);
    const auto detour = home_ / "elsewhere/share/Trash/files";
    ASSERT_EQ(::symlink(detour.c_str(), link_.c_str()), 0);

    ASSERT_EQ(makeTrash(), 0);

    EXPECT_EQ(target(), detour);
}

class HomeTrashLinkTest : public HomeTrashTest, public testing::WithParamInterface<NamedText> {};

TEST_P(HomeTrashLinkTest, OfTheUsersOwnIsLeft) {
    const auto own = casePath(home_, GetParam().value);
    ASSERT_EQ(::symlink(own.c_str(), link_.c_str()), 0);

    ASSERT_EQ(makeTrash(), 0);

    EXPECT_EQ(target(), own);
    EXPECT_FALSE(exists(home_ / ".local"));
}

INSTANTIATE_TEST_SUITE_P(All, HomeTrashLinkTest,
                         testing::Values(NamedText{{"Elsewhere"}, "elsewhere/files"},
                                         NamedText{{"InAnotherTrash"}, "DIR/other/Trash/files"},
                                         NamedText{{"RelativeInAnotherTrash"},
                                                   "other/Trash/./files"}),
                         nameOfCase);

TEST_F(HomeTrashTest, IsMadeWhereALinkOfTheUsersOwnLeads) {
    const auto files = home_ / ".local/share/Trash/files";
    ASSERT_EQ(::symlink(files.c_str(), link_.c_str()), 0);

    ASSERT_EQ(makeTrash(), 0);

    EXPECT_EQ(target(), files);
    EXPECT_TRUE(fs::is_directory(files));
}

} // namespace
