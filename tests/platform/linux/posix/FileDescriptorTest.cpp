#include "platform/linux/posix/FileDescriptor.h"

#include <gtest/gtest.h>

#include <fcntl.h>

using qf::native::aboveStandardStreams;
using qf::native::FileDescriptor;
using qf::native::opened;
using qf::native::openedAboveStandardStreams;

namespace {

int openNull() {
    return ::open("/dev/null", O_RDWR | O_CLOEXEC);
}

bool isOpen(int descriptor) {
    return ::fcntl(descriptor, F_GETFD) != -1;
}

TEST(FileDescriptorTest, ClosesAtTheEndOfItsScope) {
    const int number = openNull();
    { const FileDescriptor descriptor(number); }

    EXPECT_FALSE(isOpen(number));
}

TEST(FileDescriptorTest, IsEmptyUntilItIsGivenOne) {
    const FileDescriptor descriptor;

    EXPECT_FALSE(descriptor);
}

TEST(FileDescriptorTest, MovesWithoutClosing) {
    FileDescriptor first(openNull());
    const int number = first.get();

    const FileDescriptor second(std::move(first));

    EXPECT_EQ(second.get(), number);
    EXPECT_TRUE(isOpen(number));
}

TEST(FileDescriptorTest, ClosesWhatIsReplaced) {
    FileDescriptor descriptor(openNull());
    const int former = descriptor.get();

    descriptor = FileDescriptor(openNull());

    EXPECT_FALSE(isOpen(former));
    EXPECT_TRUE(isOpen(descriptor.get()));
}

TEST(FileDescriptorTest, CanBeMovedToItself) {
    FileDescriptor descriptor(openNull());
    auto& same = descriptor;

    descriptor = std::move(same);

    EXPECT_TRUE(isOpen(descriptor.get()));
}

TEST(FileDescriptorTest, LeavesAReleasedOneOpen) {
    FileDescriptor descriptor(openNull());

    const FileDescriptor released(descriptor.release());

    EXPECT_FALSE(descriptor);
    EXPECT_TRUE(isOpen(released.get()));
}

TEST(FileDescriptorTest, KeepsErrnoWhenItCloses) {
    FileDescriptor invalid(1'000'000);
    errno = EXDEV;

    invalid.reset();

    EXPECT_EQ(errno, EXDEV);
}

TEST(FileDescriptorTest, TellsWhyNothingWasOpened) {
    const auto missing = opened(::open("/nowhere/at/all", O_RDONLY | O_CLOEXEC));

    ASSERT_FALSE(missing);
    EXPECT_EQ(missing.error().number(), ENOENT);
}

TEST(FileDescriptorTest, KeepsClearOfTheStandardStreams) {
    const FileDescriptor kept(::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 10));
    ::close(STDIN_FILENO);
    FileDescriptor lowest(openNull());
    ASSERT_EQ(lowest.get(), STDIN_FILENO);

    const auto moved = aboveStandardStreams(std::move(lowest));

    EXPECT_GT(moved.get(), STDERR_FILENO);
    EXPECT_FALSE(isOpen(STDIN_FILENO));
    EXPECT_EQ(::fcntl(moved.get(), F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
    ::dup2(kept.get(), STDIN_FILENO);
}

TEST(FileDescriptorTest, OpensAboveTheStandardStreams) {
    const FileDescriptor kept(::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 10));
    ::close(STDIN_FILENO);

    const auto high = openedAboveStandardStreams(openNull());

    ASSERT_TRUE(high);
    EXPECT_GT(high->get(), STDERR_FILENO);
    ::dup2(kept.get(), STDIN_FILENO);
}

TEST(FileDescriptorTest, TellsWhyNothingWasOpenedAboveTheStandardStreams) {
    const auto missing =
        openedAboveStandardStreams(::open("/nowhere/at/all", O_RDONLY | O_CLOEXEC));

    ASSERT_FALSE(missing);
    EXPECT_EQ(missing.error().number(), ENOENT);
}

} // namespace
