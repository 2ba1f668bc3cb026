#include "platform/linux/files/ItemTransfer.h"

#include "platform/linux/posix/FileDescriptor.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <filesystem>

using qf::native::copyItem;
using qf::native::FileDescriptor;
using qf::native::finishMove;
using qf::native::moveItem;

namespace {

class ItemTransferTest : public testing::Test {
protected:
    FileDescriptor open(const std::string& name) const {
        return FileDescriptor(
            ::open(directory_.makeDirectory(name).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    }

    std::ptrdiff_t itemsIn(const std::string& name) const {
        return std::distance(std::filesystem::directory_iterator(directory_ / name),
                             std::filesystem::directory_iterator());
    }

    TemporaryDirectory directory_;
    FileDescriptor source_ = open("source");
    FileDescriptor destination_ = open("destination");
};

TEST_F(ItemTransferTest, CopiesUnderANewName) {
    directory_.write("source/item/file", "content");

    ASSERT_TRUE(copyItem({source_.get(), "item"}, {destination_.get(), "copy"}));

    EXPECT_EQ(contentOf(directory_ / "destination/copy/file"), "content");
    EXPECT_TRUE(exists(directory_ / "source/item/file"));
    EXPECT_EQ(itemsIn("destination"), 1);
}

TEST_F(ItemTransferTest, CopiesOntoNothingThatIsThere) {
    directory_.write("source/item", "new");
    directory_.write("destination/item", "old");

    const auto done = copyItem({source_.get(), "item"}, {destination_.get(), "item"});

    ASSERT_FALSE(done);
    EXPECT_EQ(done.error().number.number(), EEXIST);
    EXPECT_EQ(contentOf(directory_ / "destination/item"), "old");
    EXPECT_EQ(itemsIn("destination"), 1);
}

TEST_F(ItemTransferTest, FinishesNoMoveThatWasNotKilled) {
    directory_.write("source/item", "same");
    directory_.write("destination/item", "same");

    for (const char* name : {"item", "missing"}) {
        const auto done = finishMove({source_.get(), "item"}, {destination_.get(), name});
        ASSERT_FALSE(done);
        EXPECT_EQ(done.error().number.number(), EEXIST);
    }
    EXPECT_EQ(contentOf(directory_ / "source/item"), "same");
    EXPECT_EQ(itemsIn("destination"), 1);
}

TEST_F(ItemTransferTest, RefusesToCopyADirectoryIntoItself) {
    directory_.makeDirectory("source/item");
    const auto inside = open("source/item/inside");

    const auto done = copyItem({source_.get(), "item"}, {inside.get(), "copy"});

    ASSERT_FALSE(done);
    EXPECT_EQ(done.error().number.number(), EINVAL);
    EXPECT_EQ(itemsIn("source/item/inside"), 0);
}

TEST_F(ItemTransferTest, MovesByRenaming) {
    directory_.write("source/item", "content");
    struct stat before {};
    ASSERT_EQ(::stat((directory_ / "source/item").c_str(), &before), 0);

    ASSERT_TRUE(moveItem({source_.get(), "item"}, {destination_.get(), "moved"}));

    struct stat after {};
    ASSERT_EQ(::stat((directory_ / "destination/moved").c_str(), &after), 0);
    EXPECT_EQ(after.st_ino, before.st_ino);
    EXPECT_FALSE(exists(directory_ / "source/item"));
}

TEST_F(ItemTransferTest, MovesALinkItself) {
    ::symlink("nowhere", (directory_ / "source/link").c_str());

    ASSERT_TRUE(moveItem({source_.get(), "link"}, {destination_.get(), "link"}));

    EXPECT_EQ(std::filesystem::read_symlink(directory_ / "destination/link"), "nowhere");
}

TEST_F(ItemTransferTest, NamesTheItemThatIsMissing) {
    const auto done = moveItem({source_.get(), "missing"}, {destination_.get(), "item"});

    ASSERT_FALSE(done);
    EXPECT_EQ(done.error().name, "missing");
    EXPECT_EQ(done.error().number.number(), ENOENT);
}

} // namespace
