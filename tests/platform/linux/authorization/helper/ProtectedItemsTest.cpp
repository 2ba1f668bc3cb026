// What must stay. CommandTest.cpp has what follows from that.

#include "platform/linux/authorization/helper/ProtectedItems.h"

#include "platform/linux/authorization/helper/Refusal.h"
#include "tests/platform/linux/authorization/helper/HelperHarness.h"
#include "tests/support/NamedCase.h"

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/syscall.h>

#include <cerrno>
#include <cstdint>

using qf::native::helper::openItem;
using qf::native::helper::ProtectedItems;
using qf::native::helper::Refusal;

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

/// A system call that fails, and what cannot be told then.
struct FailingList : NamedCase {
    std::uint32_t call;
    const char* about;
};

class HelperProtectedItemsThatFail : public HelperTest,
                                     public testing::WithParamInterface<FailingList> {};

TEST_P(HelperProtectedItemsThatFail, AreNotTakenForFew) {
    const int status = statusOfProcess([] {
        ProtectedItems items(servedUser);
        const auto item = openItem(AT_FDCWD, sandbox::rootsDirectory);
        try {
            forbid(GetParam().call, EIO);
            items.contain(*item);
            return 1;
        } catch (const Refusal& refusal) {
            return refusal.about == GetParam().about ? 0 : 2;
        }
    });
    EXPECT_EQ(status, 0);
}

INSTANTIATE_TEST_SUITE_P(, HelperProtectedItemsThatFail,
                         testing::Values(FailingList{{"TopLevelDirectories"}, SYS_getdents64, "/"},
                                         FailingList{
                                             {"Accounts"}, SYS_read, "the list of accounts"}),
                         nameOfCase);
