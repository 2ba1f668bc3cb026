#include "platform/foundation/GlobalQueue.h"

#include "tests/support/NoThreadsLeft.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <future>
#include <latch>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <vector>

using qf::dispatchAsync;

TEST(GlobalQueue, ReturnsBeforeTheOperationEnds) {
    const auto open = std::make_shared<std::latch>(1);
    const auto done = std::make_shared<std::latch>(1);
    dispatchAsync([open, done] {
        open->wait();
        done->count_down();
    });
    open->count_down();
    done->wait();
}

TEST(GlobalQueue, OperationsRunAtTheSameTime) {
    constexpr int count = 40;
    const auto met = std::make_shared<std::latch>(count);
    const auto done = std::make_shared<std::latch>(count);
    for (int number = 0; number < count; ++number) {
        dispatchAsync([met, done] {
            met->arrive_and_wait();
            done->count_down();
        });
    }
    done->wait();
}

TEST(GlobalQueue, MoreThanFitAtOnceAllRunInTheEnd) {
    constexpr int count = 1000;
    const auto open = std::make_shared<std::latch>(1);
    const auto done = std::make_shared<std::latch>(count);
    for (int number = 0; number < count; ++number) {
        dispatchAsync([open, done] {
            open->wait();
            done->count_down();
        });
    }
    open->count_down();
    done->wait();
}

TEST(GlobalQueue, OperationsMayAddOthersAndComeFromAnyThread) {
    constexpr int threadCount = 8;
    constexpr int count = 200;
    const auto done = std::make_shared<std::latch>(threadCount * count);
    std::vector<std::future<void>> threads;
    threads.reserve(threadCount);
    for (int thread = 0; thread < threadCount; ++thread) {
        threads.push_back(std::async(std::launch::async, [done] {
            for (int number = 0; number < count; ++number) {
                dispatchAsync([done] { dispatchAsync([done] { done->count_down(); }); });
            }
        }));
    }
    done->wait();
}

TEST(GlobalQueue, LetsGoOfAnOperationThatHasEnded) {
    auto owned = std::make_shared<int>(1);
    const auto done = std::make_shared<std::latch>(1);
    std::shared_ptr<void> whenReleased(nullptr, [done](void*) { done->count_down(); });
    dispatchAsync([owned, whenReleased = std::move(whenReleased)] { EXPECT_EQ(*owned, 1); });
    done->wait();
}

TEST(GlobalQueueDeathTest, AnOperationWaitsForTheOnlyThreadWhereNoOtherCanBeStarted) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(
        {
            const auto open = std::make_shared<std::latch>(1);
            const auto done = std::make_shared<std::latch>(1);
            dispatchAsync([open] { open->wait(); });
            {
                const NoThreadsLeft none;
                dispatchAsync([done] { done->count_down(); });
            }
            open->count_down();
            done->wait();
            std::_Exit(0);
        },
        testing::ExitedWithCode(0), "^$");
}

TEST(GlobalQueueDeathTest, WhatAnOperationRaisesAndNobodyCatchesEndsTheProcess) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_DEATH(
        {
            dispatchAsync([] { throw std::runtime_error("nobody caught this"); });
            std::latch(1).wait();
        },
        "nobody caught this");
}
