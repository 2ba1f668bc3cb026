#include "platform/linux/authorization/SilencedErrors.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

using qf::native::SilencedErrors;

TEST(SilencedErrors, KeepStandardErrorAwayForAScope) {
    testing::internal::CaptureStderr();
    std::fputs("before ", stderr);
    {
        const SilencedErrors silenced;
        std::fputs("meanwhile ", stderr);
    }
    std::fputs("after", stderr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "before after");
}

TEST(SilencedErrors, OpenNothingIfErrorsAreClosed) {
    const int kept = ::dup(STDERR_FILENO);
    ::close(STDERR_FILENO);
    { const SilencedErrors silenced; }
    struct stat status {};
    EXPECT_EQ(::fstat(STDERR_FILENO, &status), -1);
    ::dup2(kept, STDERR_FILENO);
    ::close(kept);
}
