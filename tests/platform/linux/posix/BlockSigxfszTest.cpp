#include "platform/linux/posix/BlockSigxfsz.h"

#include "tests/support/ScopedLimit.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

namespace {

using FileSizeSignalDeathTest = testing::Test;

/// Writes beyond the file size limit, and exits with status 0 if that failed with EFBIG.
[[noreturn]] void writeBeyondTheLimit(const std::string& path) {
    const ScopedLimit<RLIMIT_FSIZE> limit(1);
    const int file = ::open(path.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600);
    const bool isWritten = ::write(file, "a", 1) == 1;
    const bool isRefused = ::write(file, "b", 1) == -1 && errno == EFBIG;
    std::_Exit(isWritten && isRefused ? 0 : 1);
}

TEST_F(FileSizeSignalDeathTest, AWriteBeyondTheLimitFailsLikeAnyOther) {
    const TemporaryDirectory directory;

    EXPECT_EXIT(
        {
            qf::native::blockSigxfsz();
            writeBeyondTheLimit(directory / "file");
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(FileSizeSignalDeathTest, WithoutItTheProcessEnds) {
    const TemporaryDirectory directory;

    EXPECT_EXIT(writeBeyondTheLimit(directory / "file"), testing::KilledBySignal(SIGXFSZ), "");
}

} // namespace
