// The closed directories that copies are made in.

#include "platform/linux/authorization/helper/Stage.h"

#include "platform/linux/authorization/helper/Refusal.h"
#include "tests/platform/linux/authorization/helper/StageHarness.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>

#include <cstdint>

using qf::native::FileDescriptor;
using qf::native::helper::isExpected;
using qf::native::helper::isMarkedForCopies;
using qf::native::helper::Item;
using qf::native::helper::openItem;
using qf::native::helper::Refusal;
using qf::native::helper::Stage;
using qf::native::helper::StageFor;

class HelperStage : public StageTest {
protected:
    static FileDescriptor opened(const Stage& stage) {
        return FileDescriptor(
            ::openat(stage.directory().descriptor.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    }
    static mode_t rightsOf(const Item& directory) {
        struct stat status {};
        EXPECT_EQ(::fstat(directory.descriptor.get(), &status), 0);
        return status.st_mode & 0777U;
    }
};

TEST_F(HelperStage, IsRootsAloneAndGoesAtTheEnd) {
    const Item directory = parent();
    {
        const Stage stage(directory, StageFor::items);
        EXPECT_EQ(stage.directory().status.stx_uid, 0U);
        EXPECT_EQ(rightsOf(stage.directory()), 0700U);
        EXPECT_EQ(itemsLeft(), 1);
    }
    EXPECT_EQ(itemsLeft(), 0);
}

TEST_F(HelperStage, IsLeftWhenSomethingIsInIt) {
    const Item directory = parent();
    {
        const Stage stage(directory, StageFor::items);
        ASSERT_EQ(::mkdirat(stage.directory().descriptor.get(), "item", 0700), 0);
    }
    EXPECT_TRUE(isInWhatIsLeft("item"));
}

TEST_F(HelperStage, HasANameOfItsOwnEachTime) {
    const Item directory = parent();
    const Stage first(directory, StageFor::items);
    const Stage second(directory, StageFor::items);
    EXPECT_EQ(itemsLeft(), 2);
}

TEST_F(HelperStage, HandsNoAccessListDown) {
    // What setfacl writes for "default:user:12345:rwx": a version, and the kind, the rights and the
    // user of each entry.
    const std::uint32_t everybody = ~0U;
    const std::uint32_t list[]{2,         0x70001, everybody, 0x70002, servedUser, 0x70004,
                               everybody, 0x70010, everybody, 0x70020, everybody};
    const Item directory = parent();
    ASSERT_EQ(
        ::setxattr(usersDirectory().c_str(), "system.posix_acl_default", list, sizeof list, 0), 0);
    const Stage stage(directory, StageFor::items);
    EXPECT_EQ(rightsOf(stage.directory()), 0700U);
    ASSERT_EQ(::mkdirat(stage.directory().descriptor.get(), "inner", 0750), 0);
    EXPECT_EQ(rightsOf(*openItem(stage.directory().descriptor.get(), "inner")), 0750U);
}

TEST_F(HelperStage, IsMarkedWhenItIsForCopies) {
    const Item directory = parent();
    const Stage copies(directory, StageFor::copies);
    const Stage items(directory, StageFor::items);
    EXPECT_TRUE(isMarkedForCopies(opened(copies)));
    EXPECT_FALSE(isMarkedForCopies(opened(items)));
}

TEST_F(HelperStage, LeavesNoMarkWhenSomethingStaysInIt) {
    const Item directory = parent();
    FileDescriptor left;
    {
        const Stage stage(directory, StageFor::copies);
        ASSERT_EQ(::mkdirat(stage.directory().descriptor.get(), "copy", 0700), 0);
        left = opened(stage);
    }
    EXPECT_FALSE(isMarkedForCopies(left));
}

TEST_F(HelperStage, TellsWhichItemIsToComeAndWhatThatIsToBeCalledNext) {
    const Item directory = parent();
    const auto item = openItem(AT_FDCWD, makeFile(usersDirectory() + "/item"));
    const auto other = openItem(AT_FDCWD, makeFile(usersDirectory() + "/other"));
    const Stage stage(directory, StageFor::items);
    stage.expect(*item, "new");
    EXPECT_TRUE(isExpected(*item, "new", opened(stage)));
    EXPECT_FALSE(isExpected(*item, "ne", opened(stage)));
    EXPECT_FALSE(isExpected(*item, "newer", opened(stage)));
    EXPECT_FALSE(isExpected(*other, "new", opened(stage)));
}

TEST_F(HelperStage, TellsNothingOfAnItemOfAnotherFileSystem) {
    const Item directory = parent();
    const auto item = openItem(AT_FDCWD, makeFile(sandbox::rootsDirectory + "/item"));
    const Stage stage(directory, StageFor::items);
    stage.expect(*item, "new");
    EXPECT_LT(::flistxattr(opened(stage).get(), nullptr, 0), 1);
    EXPECT_FALSE(isExpected(*item, "new", opened(stage)));
}

TEST_F(HelperStage, StillTellsOfItsItemWhenThatStaysInIt) {
    const Item directory = parent();
    const auto item = openItem(AT_FDCWD, makeFile(usersDirectory() + "/item"));
    FileDescriptor left;
    {
        const Stage stage(directory, StageFor::items);
        stage.expect(*item, "new");
        ASSERT_EQ(::mkdirat(stage.directory().descriptor.get(), "kept", 0700), 0);
        left = opened(stage);
    }
    EXPECT_TRUE(isExpected(*item, "new", left));
}

TEST_F(HelperStage, GetsAnotherNameWhenAnotherProcessHasRemovedTheDirectory) {
    const Item directory = parent();
    runWithFailingLooks({}, [&] {
        const Stage stage(directory, StageFor::items);
        EXPECT_TRUE(stage.directory().descriptor);
    });
    EXPECT_EQ(itemsLeft(), 0);
}

TEST_F(HelperStage, IsRefusedWhenOtherProcessesRemoveEveryDirectory) {
    constexpr int manyTimes = 1000;
    const Item directory = parent();
    runWithFailingLooks({.count = manyTimes}, [&] {
        EXPECT_THROW(const Stage stage(directory, StageFor::items), Refusal);
    });
    EXPECT_EQ(itemsLeft(), 0);
}

TEST_F(HelperStage, IsRefusedWhereNoneCanBeMade) {
    const Item file = *openItem(AT_FDCWD, makeFile(usersDirectory() + "/file"));
    EXPECT_THROW(const Stage stage(file, StageFor::items), Refusal);
}
