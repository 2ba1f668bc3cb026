#include "platform/linux/posix/Rename.h"

#include "platform/linux/posix/FileDescriptor.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <fcntl.h>

using qf::native::FileDescriptor;
using qf::native::renameWithoutReplacing;

namespace {

class RenameTest : public testing::Test {
protected:
    auto rename(const std::string& name, const std::string& newName) {
        return renameWithoutReplacing({source_.get(), name}, {destination_.get(), newName});
    }

    TemporaryDirectory directory_;
    FileDescriptor source_{open("source")};
    FileDescriptor destination_{open("destination")};

private:
    int open(const std::string& name) {
        return ::open(directory_.makeDirectory(name).c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    }
};

TEST_F(RenameTest, GivesAnItemANewNameInAnotherDirectory) {
    directory_.write("source/item", "content");

    ASSERT_TRUE(rename("item", "moved"));

    EXPECT_EQ(contentOf(directory_ / "destination/moved"), "content");
    EXPECT_FALSE(exists(directory_ / "source/item"));
}

TEST_F(RenameTest, ReplacesNothing) {
    directory_.write("source/item", "new");
    directory_.write("destination/item", "old");

    EXPECT_EQ(rename("item", "item").error().number(), EEXIST);

    EXPECT_EQ(contentOf(directory_ / "destination/item"), "old");
    EXPECT_EQ(contentOf(directory_ / "source/item"), "new");
}

TEST_F(RenameTest, ReplacesNoEmptyDirectory) {
    directory_.makeDirectory("source/folder");
    directory_.makeDirectory("destination/folder");

    EXPECT_EQ(rename("folder", "folder").error().number(), EEXIST);

    EXPECT_TRUE(exists(directory_ / "source/folder"));
}

TEST_F(RenameTest, ReplacesNoBrokenLink) {
    directory_.write("source/item");
    ::symlink("nowhere", (directory_ / "destination/item").c_str());

    EXPECT_EQ(rename("item", "item").error().number(), EEXIST);

    EXPECT_TRUE(exists(directory_ / "source/item"));
}

TEST_F(RenameTest, MovesALinkItself) {
    const auto target = directory_.write("target");
    ::symlink(target.c_str(), (directory_ / "source/link").c_str());

    ASSERT_TRUE(rename("link", "link"));

    EXPECT_TRUE(exists(directory_ / "destination/link"));
    EXPECT_TRUE(exists(target));
}

TEST_F(RenameTest, TellsThatTheItemIsMissing) {
    EXPECT_EQ(rename("missing", "item").error().number(), ENOENT);
}

} // namespace
