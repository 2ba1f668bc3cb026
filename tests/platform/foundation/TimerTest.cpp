#include "platform/foundation/Timer.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <memory>
#include <thread>
#include <vector>

using qf::performAfter;
using std::chrono::seconds;

TEST(Timer, RunsWhatIsDueInTheOrderOfTheCallsOffTheCallersThread) {
    std::vector<int> order;
    std::promise<std::thread::id> last;
    for (int number = 0; number < 100; ++number) {
        performAfter(seconds(0), [&order, number] { order.push_back(number); });
    }
    performAfter(seconds(0), [&last] { last.set_value(std::this_thread::get_id()); });
    EXPECT_NE(last.get_future().get(), std::this_thread::get_id());
    ASSERT_EQ(order.size(), 100U);
    for (int number = 0; number < 100; ++number) {
        EXPECT_EQ(order[static_cast<std::size_t>(number)], number);
    }
}

TEST(Timer, RunsNothingBeforeItsTime) {
    std::promise<std::chrono::steady_clock::time_point> ran;
    const auto begin = std::chrono::steady_clock::now();
    performAfter(seconds(1), [&ran] { ran.set_value(std::chrono::steady_clock::now()); });
    EXPECT_GE(ran.get_future().get() - begin, seconds(1));
}

TEST(Timer, LetsWhatIsDueEarlierComeFirst) {
    performAfter(seconds(1'000'000'000), [] { FAIL() << "31 years are over"; });
    std::promise<void> ran;
    performAfter(seconds(0), [&ran] { ran.set_value(); });
    ran.get_future().wait();
}

TEST(Timer, LetsGoOfWhatAnOperationHeld) {
    auto held = std::make_shared<int>(1);
    performAfter(seconds(0), [copy = held] { EXPECT_TRUE(copy); });
    std::promise<void> ran;
    performAfter(seconds(0), [&ran] { ran.set_value(); });
    ran.get_future().wait();
    EXPECT_EQ(held.use_count(), 1);
}
