#include "platform/foundation/OperationQueue.h"

#include "tests/support/QueueGate.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <future>
#include <latch>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

using qf::OperationQueue;

TEST(OperationQueue, RunsOperationsInTheOrderInWhichTheyWereAdded) {
    OperationQueue queue;
    std::vector<int> order;
    for (int i = 0; i < 1000; ++i) {
        queue.addOperation([&order, i] { order.push_back(i); });
    }
    queue.waitUntilAllOperationsAreFinished();
    ASSERT_EQ(order.size(), 1000U);
    for (int i = 0; i < 1000; ++i) {
        EXPECT_EQ(order[static_cast<std::size_t>(i)], i);
    }
}

TEST(OperationQueue, RunsOperationsOneAtATimeOffTheCallersThread) {
    OperationQueue queue;
    std::vector<std::thread::id> threads;
    for (int i = 0; i < 10; ++i) {
        queue.addOperation([&threads] { threads.push_back(std::this_thread::get_id()); });
    }
    queue.waitUntilAllOperationsAreFinished();
    EXPECT_EQ(threads, std::vector<std::thread::id>(10, threads[0]));
    EXPECT_NE(threads[0], std::this_thread::get_id());
}

TEST(OperationQueue, CountsTheRunningOperationAndThoseBehindIt) {
    OperationQueue queue;
    EXPECT_EQ(queue.operationCount(), 0U);
    QueueGate gate(queue);
    EXPECT_EQ(queue.operationCount(), 1U);
    queue.addOperation([] {});
    EXPECT_EQ(queue.operationCount(), 2U);
    gate.open();
    queue.waitUntilAllOperationsAreFinished();
    EXPECT_EQ(queue.operationCount(), 0U);
}

TEST(OperationQueue, CancelsWhatHasNotBegunAndGoesOn) {
    OperationQueue queue;
    QueueGate gate(queue);
    int ran = 0;
    queue.addOperation([&ran] { ran += 1; });
    queue.addOperation([&ran] { ran += 10; });
    queue.cancelAllOperations();
    queue.addOperation([&ran] { ran += 100; });
    gate.open();
    queue.waitUntilAllOperationsAreFinished();
    EXPECT_EQ(ran, 100);
    EXPECT_EQ(queue.operationCount(), 0U);
}

TEST(OperationQueue, CancelsFromInsideAnOperation) {
    OperationQueue queue;
    bool ran = false;
    {
        QueueGate gate(queue);
        queue.addOperation([&queue] { queue.cancelAllOperations(); });
        queue.addOperation([&ran] { ran = true; });
    }
    queue.waitUntilAllOperationsAreFinished();
    EXPECT_FALSE(ran);
}

TEST(OperationQueue, DoesNotWaitWhenNothingWasEverAdded) {
    OperationQueue queue;
    queue.waitUntilAllOperationsAreFinished();
    EXPECT_EQ(queue.operationCount(), 0U);
}

TEST(OperationQueue, RunsWhatFollowsAnOperationThatWaitsForItsOwnQueue) {
    OperationQueue queue;
    std::vector<int> order;
    {
        QueueGate gate(queue);
        queue.addOperation([&] {
            order.push_back(1);
            queue.waitUntilAllOperationsAreFinished();
            order.push_back(4);
        });
        queue.addOperation([&order] { order.push_back(2); });
        queue.addOperation([&order] { order.push_back(3); });
    }
    queue.waitUntilAllOperationsAreFinished();
    EXPECT_EQ(order, (std::vector{1, 2, 3, 4}));
}

TEST(OperationQueue, NestsWaitsOfItsOwnOperations) {
    OperationQueue queue;
    std::vector<int> order;
    {
        QueueGate gate(queue);
        for (int i = 0; i < 3; ++i) {
            queue.addOperation([&queue, &order, i] {
                order.push_back(i);
                queue.waitUntilAllOperationsAreFinished();
                order.push_back(10 + i);
            });
        }
    }
    queue.waitUntilAllOperationsAreFinished();
    EXPECT_EQ(order, (std::vector{0, 1, 2, 12, 11, 10}));
}

TEST(OperationQueue, LetsAWaiterOutsideWaitForAnOperationThatItselfWaits) {
    bool outerFinished = false;
    std::latch innerRan{1};
    std::latch waiterIsThere{1};
    OperationQueue queue;
    QueueGate gate(queue);
    queue.addOperation([&] {
        queue.waitUntilAllOperationsAreFinished();
        waiterIsThere.wait();
        outerFinished = true;
    });
    queue.addOperation([&innerRan] { innerRan.count_down(); });
    gate.open();
    innerRan.wait();
    waiterIsThere.count_down();
    queue.waitUntilAllOperationsAreFinished();
    EXPECT_TRUE(outerFinished);
}

TEST(OperationQueue, WaitsUntilItIsEmptyAndSoForWhatIsAddedMeanwhile) {
    int left = 1000;
    std::function<void()> again;
    OperationQueue queue;
    again = [&] {
        if (--left > 0) {
            queue.addOperation([&again] { again(); });
        }
    };
    queue.addOperation([&again] { again(); });
    queue.waitUntilAllOperationsAreFinished();
    EXPECT_EQ(left, 0);
}

TEST(OperationQueue, WaitsInItsOwnOperationOnlyForWhatWasAddedBefore) {
    OperationQueue queue;
    std::vector<int> order;
    {
        QueueGate gate(queue);
        queue.addOperation([&] {
            queue.waitUntilAllOperationsAreFinished();
            order.push_back(2);
        });
        queue.addOperation([&] {
            order.push_back(1);
            queue.addOperation([&order] { order.push_back(3); });
        });
    }
    queue.waitUntilAllOperationsAreFinished();
    EXPECT_EQ(order, (std::vector{1, 2, 3}));
}

TEST(OperationQueue, IsCompletedBeforeThoseWhoWaitAreTold) {
    int completed = 0; // outlives the queue, which is completed once more at its end
    OperationQueue queue;
    queue.completeWith([&completed] { ++completed; });
    for (int round = 1; round <= 100; ++round) {
        queue.addOperation([] {});
        queue.waitUntilAllOperationsAreFinished();
        ASSERT_EQ(completed, round);
    }
}

TEST(OperationQueue, IsCompletedOnceForOperationsThatFollowOneAnother) {
    int completed = 0; // outlives the queue, which is completed once more at its end
    OperationQueue queue;
    {
        const QueueGate gate(queue);
        queue.completeWith([&completed] { ++completed; });
        queue.addOperation([] {});
        queue.addOperation([] {});
    }
    queue.waitUntilAllOperationsAreFinished();
    EXPECT_EQ(completed, 1);
}

TEST(OperationQueue, IsCompletedWhenItsLastOperationIsCancelled) {
    bool completed = false;
    OperationQueue queue;
    {
        const QueueGate gate(queue);
        queue.addOperation([] {});
        queue.completeWith([&completed] { completed = true; });
        queue.cancelAllOperations();
    }
    queue.waitUntilAllOperationsAreFinished();
    EXPECT_TRUE(completed);
}

TEST(OperationQueue, IsCompletedBeforeAWaitInItsOwnOperationEnds) {
    int ran = 0;
    int ranWhenCompleted = 0;
    int completedAtEnd = 0;
    OperationQueue queue;
    queue.completeWith([&] { ranWhenCompleted = ran; });
    {
        const QueueGate gate(queue);
        queue.addOperation([&] {
            queue.waitUntilAllOperationsAreFinished();
            completedAtEnd = ranWhenCompleted;
        });
        queue.addOperation([&ran] { ++ran; });
    }
    queue.waitUntilAllOperationsAreFinished();
    EXPECT_EQ(completedAtEnd, 1);
}

TEST(OperationQueue, FinishesEverythingBeforeItIsDestroyed) {
    int ran = 0;
    {
        OperationQueue queue;
        for (int i = 0; i < 100; ++i) {
            queue.addOperation([&ran] { ++ran; });
        }
    }
    EXPECT_EQ(ran, 100);
}

TEST(OperationQueue, IsDestroyedEvenWhenItsLastOperationCancels) {
    OperationQueue queue;
    queue.addOperation([&queue] {
        while (queue.operationCount() == 1) {
            std::this_thread::yield(); // until the destructor has begun
        }
        queue.cancelAllOperations();
    });
}

TEST(OperationQueue, LetsGoOfWhatAnOperationHeldBeforeItCountsAsFinished) {
    OperationQueue queue;
    auto held = std::make_shared<int>(1);
    queue.addOperation([copy = held] { ASSERT_TRUE(copy); });
    queue.waitUntilAllOperationsAreFinished();
    EXPECT_EQ(held.use_count(), 1);
}

TEST(OperationQueue, TakesOperationsFromManyThreadsAtOnce) {
    OperationQueue queue;
    int ran = 0;
    std::vector<std::future<void>> threads;
    threads.reserve(8);
    for (int thread = 0; thread < 8; ++thread) {
        threads.push_back(std::async(std::launch::async, [&] {
            for (int i = 0; i < 2000; ++i) {
                queue.addOperation([&ran] { ++ran; });
                if (i % 100 == 0) {
                    queue.waitUntilAllOperationsAreFinished();
                }
            }
        }));
    }
    threads.clear();
    queue.waitUntilAllOperationsAreFinished();
    EXPECT_EQ(ran, 16000);
}

TEST(OperationQueue, RunsWhatIsAddedAfterACancellationWhateverOthersAdd) {
    OperationQueue queue;
    std::atomic<bool> enough = false;
    std::vector<std::future<void>> others;
    for (int thread = 0; thread < 2; ++thread) {
        others.push_back(std::async(std::launch::async, [&] {
            while (!enough) {
                queue.addOperation([] {});
                queue.waitUntilAllOperationsAreFinished();
            }
        }));
    }
    int ran = 0;
    constexpr int rounds = 2000;
    for (int round = 0; round < rounds; ++round) {
        queue.cancelAllOperations();
        queue.addOperation([&ran] { ++ran; });
        queue.waitUntilAllOperationsAreFinished();
    }
    enough = true;
    EXPECT_EQ(ran, rounds);
}

TEST(OperationQueueDeathTest, EndsTheProcessWhenAnExceptionLeavesAnOperation) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            OperationQueue queue;
            queue.addOperation([] { throw std::runtime_error("nobody catches this"); });
            queue.waitUntilAllOperationsAreFinished();
        },
        "nobody catches this");
}
