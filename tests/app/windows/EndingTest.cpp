#include "app/windows/Ending.h"

#include "platform/Application.h"
#include "platform/Services.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <future>
#include <thread>
#include <vector>

namespace {

constexpr int cancelled = static_cast<int>(cli::ExitStatus::cancelled);
constexpr int failed = static_cast<int>(cli::ExitStatus::failed);

/// An event loop whose main thread is whatever thread calls.
class CountingLoop : public qf::Application {
public:
    bool isMainThread() override { return true; }
    void performOnMainThread(std::function<void()> work, qf::Wait /*wait*/) override { work(); }
    void handleNextEvent(std::chrono::milliseconds /*deadline*/) override {}
    void terminate() override { ++terminations; }
    int addTerminationObserver(std::function<void()> /*observer*/) override { return 0; }
    void removeTerminationObserver(int /*observer*/) override {}
    qf::Window* mainWindow() override { return nullptr; }

    int terminations = 0;
};

/// Without an event loop, the process ends at once.
class EndingTest : public testing::Test {
protected:
    TemporaryDirectory home;
    ScopedEnvironment locks{"XDG_RUNTIME_DIR", home.path()};
    start::Ending ending;
};

} // namespace

TEST_F(EndingTest, ComesAtOnceWithoutARun) {
    EXPECT_EXIT(ending.request(), testing::ExitedWithCode(cancelled), "");
}

TEST_F(EndingTest, EndsTheEventLoop) {
    CountingLoop loop;
    const qf::ScopedService<qf::Application> application(loop);

    ending.request();

    EXPECT_EQ(loop.terminations, 1);
}

TEST_F(EndingTest, WaitsForTheEndOfARun) {
    ending.runBegins();
    EXPECT_TRUE(ending.isRunning());
    ending.request();

    EXPECT_EXIT(ending.runEnded(), testing::ExitedWithCode(cancelled), "");
}

TEST_F(EndingTest, DoesNotComeWithTheEndOfARunUnlessItWasAskedFor) {
    ending.runBegins();
    ending.runEnded();

    EXPECT_FALSE(ending.isRunning());
}

TEST_F(EndingTest, HasTheStatusOfTheEventLoop) {
    EXPECT_FALSE(ending.loopEnded(cli::ExitStatus::failed));

    EXPECT_EXIT(ending.request(), testing::ExitedWithCode(failed), "");
}

TEST_F(EndingTest, IsKnownToWhoEndsTheEventLoop) {
    ending.runBegins();
    ending.request();

    EXPECT_TRUE(ending.loopEnded(cli::ExitStatus::failed));
}

TEST_F(EndingTest, TakesCallsOfAllThreadsAtOnce) {
    ending.runBegins();
    CountingLoop loop;
    const qf::ScopedService<qf::Application> application(loop);
    std::promise<void> all;
    const auto begin = all.get_future().share();
    std::vector<std::jthread> threads;
    const auto add = [&](auto call) {
        threads.emplace_back([begin, call] {
            begin.wait();
            call();
        });
    };
    add([&] { ending.request(); });
    add([&] { ending.runBegins(); });
    add([&] { ending.isRunning(); });
    add([&] { ending.loopEnded(cli::ExitStatus::complete); });
    all.set_value();
}
