// The closed directories that copies are made in.

#include "platform/linux/authorization/helper/Stage.h"

#include "platform/linux/authorization/helper/Refusal.h"
#include "tests/platform/linux/authorization/helper/HelperHarness.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>

#include <cstdint>
#include <filesystem>

using platform::native::helper::Item;
using platform::native::helper::openItem;
using platform::native::helper::Refusal;
using platform::native::helper::Stage;

class HelperStage : public HelperTest {
protected:
    Item parent() { return *openItem(AT_FDCWD, usersDirectory()); }
    static mode_t rightsOf(const Item& directory) {
        struct stat status {};
        EXPECT_EQ(::fstat(directory.descriptor.get(), &status), 0);
        return status.st_mode & 0777U;
    }
};

TEST_F(HelperStage, IsRootsAloneAndGoesAtTheEnd) {
    const Item directory = parent();
    {
        const Stage stage(directory);
        EXPECT_EQ(stage.directory().status.stx_uid, 0U);
        EXPECT_EQ(rightsOf(stage.directory()), 0700U);
        EXPECT_FALSE(std::filesystem::is_empty(usersDirectory()));
    }
    EXPECT_TRUE(std::filesystem::is_empty(usersDirectory()));
}

TEST_F(HelperStage, IsLeftWhenSomethingIsInIt) {
    const Item directory = parent();
    {
        const Stage stage(directory);
        ASSERT_EQ(::mkdirat(stage.directory().descriptor.get(), "item", 0700), 0);
    }
    const std::filesystem::directory_iterator left(usersDirectory());
    EXPECT_TRUE(exists(left->path().string() + "/item"));
}

TEST_F(HelperStage, HasANameOfItsOwnEachTime) {
    const Item directory = parent();
    const Stage first(directory);
    const Stage second(directory);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(usersDirectory()), {}), 2);
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
    const Stage stage(directory);
    EXPECT_EQ(rightsOf(stage.directory()), 0700U);
    ASSERT_EQ(::mkdirat(stage.directory().descriptor.get(), "inner", 0750), 0);
    EXPECT_EQ(rightsOf(*openItem(stage.directory().descriptor.get(), "inner")), 0750U);
}

TEST_F(HelperStage, IsRefusedWhereNoneCanBeMade) {
    const Item file = *openItem(AT_FDCWD, makeFile(usersDirectory() + "/file"));
    EXPECT_THROW(const Stage stage(file), Refusal);
}
