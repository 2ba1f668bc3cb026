#include "platform/linux/posix/WriteRest.h"

#include "platform/linux/posix/FileDescriptor.h"
#include "tests/support/ScopedLimit.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/resource.h>

#include <cerrno>
#include <string>
#include <string_view>
#include <utility>

namespace {

using qf::native::FileDescriptor;
using qf::native::writeRest;

/// Whether the next write writes nothing, without a failure.
bool writesNothing = false;

class WriteRest : public testing::Test {
protected:
    const TemporaryDirectory directory_;
    const std::string path_ = directory_.write("file", "");
    const FileDescriptor file_{::open(path_.c_str(), O_WRONLY | O_CLOEXEC)};
};

TEST_F(WriteRest, WritesEverything) {
    std::string_view rest = "content";

    ASSERT_TRUE(writeRest(file_.get(), rest));

    EXPECT_EQ(rest, "");
    EXPECT_EQ(contentOf(path_), "content");
}

TEST_F(WriteRest, LeavesWhatIsMissingInTheFileAfterAFailure) {
    const ScopedLimit<RLIMIT_FSIZE> limit(3);
    std::string_view rest = "content";

    const auto written = writeRest(file_.get(), rest);

    ASSERT_FALSE(written);
    EXPECT_EQ(written.error().number(), EFBIG);
    EXPECT_EQ(rest, "tent");
    EXPECT_EQ(contentOf(path_), "con");
}

TEST_F(WriteRest, LeavesEverythingIfTheFileCannotBeWritten) {
    const FileDescriptor readable(::open(path_.c_str(), O_RDONLY | O_CLOEXEC));
    std::string_view rest = "content";

    const auto written = writeRest(readable.get(), rest);

    ASSERT_FALSE(written);
    EXPECT_EQ(written.error().number(), EBADF);
    EXPECT_EQ(rest, "content");
}

TEST_F(WriteRest, TakesAWriteOfNothingForAFullVolume) {
    std::string_view rest = "content";
    errno = 0;
    writesNothing = true;

    const auto written = writeRest(file_.get(), rest);

    ASSERT_FALSE(written);
    EXPECT_EQ(written.error().number(), ENOSPC);
    EXPECT_EQ(rest, "content");
}

} // namespace

extern "C" {
// The linker has the function call these two: NOLINTBEGIN(bugprone-reserved-identifier)
ssize_t __real_write(int file, const void* bytes, std::size_t size);
ssize_t __wrap_write(int file, const void* bytes, std::size_t size) {
    return std::exchange(writesNothing, false) ? 0 : __real_write(file, bytes, size);
}
// NOLINTEND(bugprone-reserved-identifier)
}
