// With whose rights the helper reads what it copies.

#include "platform/linux/authorization/helper/Reader.h"

#include "platform/linux/authorization/helper/Walk.h"
#include "tests/platform/linux/authorization/helper/HelperHarness.h"

#include <fcntl.h>
#include <unistd.h>

#include <functional>

using qf::native::FileDescriptor;
using qf::native::helper::openItem;
using qf::native::helper::Reader;

class HelperReader : public HelperTest {
protected:
    /// Whether a process that reads for an owner can open a file that has been looked at.
    static bool canOpen(uid_t owner, const std::string& path) {
        return succeedsInAChild([&] {
            const Reader reader(owner);
            const auto item = openItem(AT_FDCWD, path);
            const Reader::Turn turn(reader, *item);
            return static_cast<bool>(
                FileDescriptor(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC)));
        });
    }

    static bool succeedsInAChild(const std::function<bool()>& work) {
        return statusOfProcess([&] { return work() ? 0 : 1; }) == 0;
    }
};

TEST_F(HelperReader, ReadsWhatIsTheOwnersOwnWhateverItsMode) {
    EXPECT_TRUE(canOpen(servedUser, makeFile(usersDirectory() + "/own", servedUser, 0)));
}

TEST_F(HelperReader, ReadsWhatIsAnothersAsTheOwnerMay) {
    EXPECT_TRUE(canOpen(servedUser, makeFile(usersDirectory() + "/open", 0, 0604)));
    EXPECT_FALSE(canOpen(servedUser, makeFile(usersDirectory() + "/closed", 0, 0600)));
}

TEST_F(HelperReader, ReadsAllThatIsInAnItemOfRoots) {
    EXPECT_TRUE(canOpen(0, makeFile(usersDirectory() + "/others", servedUser, 0)));
}

TEST_F(HelperReader, IsInTheOwnersGroupsAndNoOther) {
    constexpr gid_t servedGroup = 65534; // of the account in the sandbox
    const std::string file = makeFile(usersDirectory() + "/file", 0, 0640);
    ASSERT_EQ(::chown(file.c_str(), 0, servedGroup), 0);
    EXPECT_TRUE(canOpen(servedUser, file));
    ASSERT_EQ(::chown(file.c_str(), 0, 0), 0);
    EXPECT_FALSE(canOpen(servedUser, file));
}

TEST_F(HelperReader, ReadsWhatSomebodyWithoutAnAccountMayRead) {
    constexpr uid_t nobodyKnown = servedUser + 1;
    EXPECT_TRUE(canOpen(nobodyKnown, makeFile(usersDirectory() + "/open", 0, 0604)));
}

TEST_F(HelperReader, HasRootsRightsAgainAfterItsTurn) {
    const std::string closed = makeFile(usersDirectory() + "/closed", 0, 0600);
    EXPECT_TRUE(succeedsInAChild([&] {
        const Reader reader(servedUser);
        { const Reader::Turn turn(reader, *openItem(AT_FDCWD, closed)); }
        return static_cast<bool>(FileDescriptor(::open(closed.c_str(), O_RDONLY | O_CLOEXEC)));
    }));
}
