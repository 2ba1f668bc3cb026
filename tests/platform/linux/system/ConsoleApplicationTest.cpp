#include "platform/Application.h"
#include "platform/Services.h"
#include "platform/StartUp.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <iostream>

using qf::Application;
using qf::Wait;
using ::testing::ExitedWithCode;

namespace {

Application& application() {
    return qf::service<Application>();
}

/// Every test runs a program in its own process.
class ConsoleMainDeathTest : public ::testing::Test {
protected:
    ConsoleMainDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

    [[noreturn]] static void run(const std::function<int()>& body) {
        std::exit(qf::consoleMain(body));
    }
};

TEST_F(ConsoleMainDeathTest, EndsWithTheStatusThatTheBodyReturns) {
    EXPECT_EXIT(run([] { return 7; }), ExitedWithCode(7), "^$");
}

TEST_F(ConsoleMainDeathTest, WorksOnTheMainThreadWhileTheBodyRunsOnAnother) {
    EXPECT_EXIT(run([] {
                    int isMain = 0;
                    application().performOnMainThread(
                        [&isMain] { isMain = application().isMainThread() ? 1 : 0; },
                        Wait::untilDone);
                    std::cerr << application().isMainThread() << isMain << '\n';
                    return 0;
                }),
                ExitedWithCode(0), "^01\n$");
}

TEST_F(ConsoleMainDeathTest, RunsTheObserversOfTerminationAfterTheBody) {
    EXPECT_EXIT(run([] {
                    application().addTerminationObserver([] { std::cerr << "observed\n"; });
                    std::cerr << "body\n";
                    return 3;
                }),
                ExitedWithCode(3), "^body\nobserved\n$");
}

TEST_F(ConsoleMainDeathTest, EndsWithStatusZeroWhenTheApplicationTerminates) {
    EXPECT_EXIT(run([]() -> int {
                    application().performOnMainThread([] { application().terminate(); }, Wait::no);
                    // Dropped, or never run: there is no main thread any more.
                    application().performOnMainThread([] {}, Wait::untilDone);
                    std::abort();
                }),
                ExitedWithCode(0), "^$");
}

TEST_F(ConsoleMainDeathTest, DispatchesWorkInsideWork) {
    EXPECT_EXIT(run([] {
                    application().performOnMainThread(
                        [] {
                            bool isDone = false;
                            application().performOnMainThread([&isDone] { isDone = true; },
                                                              Wait::no);
                            while (!isDone) {
                                application().handleNextEvent(std::chrono::milliseconds(10));
                            }
                        },
                        Wait::untilDone);
                    return 4;
                }),
                ExitedWithCode(4), "^$");
}

TEST_F(ConsoleMainDeathTest, HasNoMainWindow) {
    EXPECT_EXIT(run([] {
                    application().performOnMainThread(
                        [] { std::cerr << (application().mainWindow() == nullptr); },
                        Wait::untilDone);
                    return 0;
                }),
                ExitedWithCode(0), "^1$");
}

} // namespace
