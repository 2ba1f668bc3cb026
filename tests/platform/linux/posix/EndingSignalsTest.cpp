#include "platform/linux/posix/EndingSignals.h"

#include "tests/support/ScopedDisposition.h"

#include <gtest/gtest.h>

namespace {

bool asksToEnd(int signal) {
    const auto signals = qf::native::endingSignals();
    return ::sigismember(&signals, signal) == 1;
}

class EndingSignals : public testing::TestWithParam<int> {
protected:
    DefaultEndingSignals endingSignals;
};

TEST_P(EndingSignals, AskTheProgramToEnd) {
    EXPECT_TRUE(asksToEnd(GetParam()));
}

TEST_P(EndingSignals, AreLeftOutWhenTheyAreIgnored) {
    const ScopedDisposition ignored(GetParam(), SIG_IGN);
    EXPECT_FALSE(asksToEnd(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(, EndingSignals, testing::Values(SIGINT, SIGTERM, SIGHUP, SIGQUIT));

} // namespace
