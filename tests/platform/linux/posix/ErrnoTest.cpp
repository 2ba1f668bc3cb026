#include "platform/linux/posix/Errno.h"

#include "platform/linux/posix/FileDescriptor.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <type_traits>

using qf::Unexpected;
using qf::native::checked;
using qf::native::checkedNumber;
using qf::native::Errno;
using qf::native::failedWith;
using qf::native::opened;
using qf::native::SystemResult;

TEST(Errno, IsNoOtherNumber) {
    EXPECT_FALSE((std::is_convertible_v<int, Errno>));
    EXPECT_FALSE((std::is_convertible_v<Errno, int>));
    EXPECT_FALSE((std::is_convertible_v<Errno, bool>));
}

TEST(Errno, IsOneOfThoseThatAreNamed) {
    EXPECT_TRUE(Errno(EPERM).is(EACCES, EPERM));
    EXPECT_FALSE(Errno(EPERM).is(EACCES, EROFS));
}

TEST(Errno, OfASystemCallIsTheResultsError) {
    const auto result = checked(::access("/nothing/is/here", F_OK));

    EXPECT_FALSE(result);
    EXPECT_EQ(result.error(), Errno(ENOENT));
    EXPECT_TRUE(checked(::access("/", F_OK)));
}

TEST(Errno, OfAFunctionThatReturnsItIsTheResultsError) {
    EXPECT_TRUE(failedWith(checkedNumber(ENOENT), ENOENT));
    EXPECT_TRUE(checkedNumber(0));
}

TEST(Errno, OfWhatCannotBeOpenedIsTheResultsError) {
    EXPECT_TRUE(failedWith(opened(::open("/nothing/is/here", O_RDONLY | O_CLOEXEC)), ENOENT));
    EXPECT_TRUE(opened(::open("/", O_RDONLY | O_CLOEXEC)));
}

TEST(Errno, OfASuccessIsNone) {
    EXPECT_FALSE(failedWith(SystemResult<void>(), ENOENT));
    EXPECT_FALSE(failedWith(SystemResult<void>(Unexpected(Errno(EIO))), ENOENT));
    EXPECT_TRUE(failedWith(SystemResult<void>(Unexpected(Errno(EIO))), ENOENT, EIO));
}
