#include "platform/terminal/RunAgain.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace {

TEST(RunAgainDeathTest, RunsTheSameProgramWithOtherArguments) {
    constexpr int cameBack = 77;
    EXPECT_EXIT(
        {
            qf::terminal::runAgain({"again", "--gtest_list_tests"});
            std::_Exit(cameBack);
        },
        ::testing::ExitedWithCode(EXIT_SUCCESS), "");
}

} // namespace
