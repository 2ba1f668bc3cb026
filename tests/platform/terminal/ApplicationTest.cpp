#include "platform/terminal/Application.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <thread>
#include <vector>

using qf::Wait;
using qf::terminal::Application;
using std::chrono::milliseconds;

namespace {

TEST(TerminalApplication, RunsUntilItTerminates) {
    Application application;
    application.performOnMainThread([&] { application.terminate(); }, Wait::no);

    application.run();
}

TEST(TerminalApplication, DoesWorkOfOtherThreadsInTheOrderOfTheCalls) {
    Application application;
    std::vector<int> done;
    std::thread other([&] {
        EXPECT_FALSE(application.isMainThread());
        for (int number = 0; number < 100; ++number) {
            application.performOnMainThread([&done, number] { done.push_back(number); }, Wait::no);
        }
        application.performOnMainThread([&] { done.push_back(100); }, Wait::untilDone);
        application.performOnMainThread([&] { application.terminate(); }, Wait::no);
    });

    application.run();
    other.join();

    ASSERT_EQ(done.size(), 101U);
    EXPECT_TRUE(std::is_sorted(done.begin(), done.end()));
    EXPECT_TRUE(application.isMainThread());
}

TEST(TerminalApplication, HandsAnExceptionToTheCallerWhoWaits) {
    Application application;
    std::thread other([&] {
        EXPECT_THROW(application.performOnMainThread([] { throw std::runtime_error("no"); },
                                                     Wait::untilDone),
                     std::runtime_error);
        application.performOnMainThread([&] { application.terminate(); }, Wait::no);
    });

    application.run();
    other.join();
}

TEST(TerminalApplication, DoesWorkAtOnceOnTheMainThreadItself) {
    Application application;
    bool isDone = false;

    application.performOnMainThread([&] { isDone = true; }, Wait::untilDone);

    EXPECT_TRUE(isDone);
}

TEST(TerminalApplication, TakesOneEventWithinTheDeadline) {
    Application application;
    int count = 0;
    application.performOnMainThread([&] { ++count; }, Wait::no);
    application.performOnMainThread([&] { ++count; }, Wait::no);

    application.handleNextEvent(milliseconds(10));
    EXPECT_EQ(count, 1);
    application.handleNextEvent(milliseconds(10));
    EXPECT_EQ(count, 2);
    application.handleNextEvent(milliseconds(1));
    EXPECT_EQ(count, 2);
}

TEST(TerminalApplication, TicksUntilItIsToldToStop) {
    Application application;
    int ticks = 0;
    application.setTick(milliseconds(1), [&] {
        if (++ticks == 3) {
            application.setTick(milliseconds(1), nullptr);
            application.performOnMainThread([&] { application.terminate(); }, Wait::no);
        }
    });

    application.run();

    EXPECT_EQ(ticks, 3);
}

TEST(TerminalApplication, TicksNoMoreOftenThanItIsTold) {
    Application application;
    constexpr milliseconds interval(20);
    std::vector<std::chrono::steady_clock::time_point> ticks;
    application.setTick(interval, [&] {
        ticks.push_back(std::chrono::steady_clock::now());
        if (ticks.size() == 3) {
            application.performOnMainThread([&] { application.terminate(); }, Wait::no);
        }
    });

    application.run();

    ASSERT_EQ(ticks.size(), 3U);
    EXPECT_GE(ticks[2] - ticks[0], interval);
}

TEST(TerminalApplication, RunsTheObserversOfTerminationOnce) {
    Application application;
    std::vector<int> observed;
    application.addTerminationObserver([&] { observed.push_back(1); });
    const int removed = application.addTerminationObserver([&] { observed.push_back(2); });
    application.addTerminationObserver([&] { observed.push_back(3); });
    application.removeTerminationObserver(removed);

    application.terminate();
    application.terminate();
    application.run();

    EXPECT_EQ(observed, (std::vector<int>{1, 3}));
}

TEST(TerminalApplication, DropsWorkThatComesTooLate) {
    Application application;
    application.terminate();
    application.run();
    bool isDone = false;

    application.performOnMainThread([&] { isDone = true; }, Wait::no);

    EXPECT_FALSE(isDone);
}

} // namespace
