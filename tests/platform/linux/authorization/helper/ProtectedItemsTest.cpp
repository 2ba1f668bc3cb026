// What must stay. CommandTest.cpp has what follows from that.

#include "platform/linux/authorization/helper/ProtectedItems.h"

#include "tests/platform/linux/authorization/helper/HelperHarness.h"

#include <fcntl.h>
#include <sys/mount.h>

using qf::native::helper::openItem;
using qf::native::helper::ProtectedItems;

class HelperProtectedItems : public HelperTest {
protected:
    bool contain(const std::string& path) { return items_.contain(*openItem(AT_FDCWD, path)); }

private:
    ProtectedItems items_{servedUser};
};

TEST_F(HelperProtectedItems, AreTopLevelDirectoriesAndMountPoints) {
    EXPECT_TRUE(contain("/"));
    EXPECT_TRUE(contain("/usr"));
    EXPECT_TRUE(contain(sandbox::rootsDirectory));
    EXPECT_FALSE(contain(makeDirectory(sandbox::rootsDirectory + "/folder")));
}

TEST_F(HelperProtectedItems, AreHomeDirectoriesAndWhatTheyAreIn) {
    const std::string homes = makeDirectory(sandbox::everybodysDirectory + "/homes");
    makeDirectory(sandbox::servedHome, servedUser);
    EXPECT_TRUE(contain(homes));
    EXPECT_TRUE(contain(sandbox::servedHome));
    EXPECT_FALSE(contain(makeDirectory(sandbox::servedHome + "/folder", servedUser)));
}

TEST_F(HelperProtectedItems, AreLookedForAgainWhenSomethingHasBeenMounted) {
    const std::string directory = makeDirectory(sandbox::rootsDirectory + "/folder");
    EXPECT_FALSE(contain(directory));
    const std::string inner = makeDirectory(directory + "/inner");
    ASSERT_EQ(::mount("tmpfs", inner.c_str(), "tmpfs", 0, nullptr), 0);
    EXPECT_TRUE(contain(inner));
    EXPECT_TRUE(contain(directory));
    ASSERT_EQ(::umount2(inner.c_str(), MNT_DETACH), 0);
    EXPECT_FALSE(contain(directory));
}
