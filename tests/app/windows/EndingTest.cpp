#include "app/windows/Ending.h"

#include "platform/Application.h"
#include "platform/Services.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <functional>
#include <latch>
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

    std::atomic<int> terminations = 0;
};

/// Without an event loop, the process ends at once.
class EndingTest : public testing::Test {
protected:
    /// Has each call made many times by a thread of its own, all at once.
    static void callOften(const std::vector<std::function<void()>>& calls) {
        std::latch all(static_cast<std::ptrdiff_t>(calls.size()));
        std::vector<std::jthread> threads;
        threads.reserve(calls.size());
        for (const auto& call : calls) {
            threads.emplace_back([&all, &call] {
                constexpr int times = 1000;
                all.arrive_and_wait();
                for (int count = 0; count < times; ++count) {
                    call();
                }
            });
        }
    }

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
    CountingLoop loop;
    const qf::ScopedService<qf::Application> application(loop);
    ending.runBegins();

    callOften({[this] { ending.request(); }, [this] { ending.runBegins(); },
               [this] { ending.runEnded(); }, [this] { ending.isRunning(); }});

    EXPECT_TRUE(ending.loopEnded(cli::ExitStatus::failed));
}

TEST_F(EndingTest, IsKnownToWhoEndsTheEventLoopMeanwhile) {
    ending.runBegins();

    callOften(
        {[this] { ending.request(); }, [this] { ending.loopEnded(cli::ExitStatus::failed); }});

    EXPECT_TRUE(ending.loopEnded(cli::ExitStatus::failed));
}
