#include "platform/foundation/OperationQueue.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <future>
#include <mutex>
#include <semaphore>

// The linker wraps the members of libstdc++, by their symbols; libc++ has others.
#ifdef __GLIBCXX__

namespace {

/// Called before a thread sleeps, after it has woken others, and before it locks a mutex.
struct Moments {
    std::function<void()> sleeps = [] {};
    std::function<void()> hasWoken = [] {};
    std::function<void()> locks = [] {};
};

/// Those of this thread, if the test wants to know them.
thread_local Moments* moments = nullptr;

} // namespace

extern "C" {

using Lock = std::unique_lock<std::mutex>;

void realSleepOn(std::condition_variable* condition, Lock& lock) asm(
    "__real__ZNSt18condition_variable4waitERSt11unique_lockISt5mutexE");
void sleepOn(std::condition_variable* condition,
             Lock& lock) asm("__wrap__ZNSt18condition_variable4waitERSt11unique_lockISt5mutexE");
void realWakeAll(std::condition_variable* condition) asm(
    "__real__ZNSt18condition_variable10notify_allEv");
void wakeAll(std::condition_variable* condition) asm(
    "__wrap__ZNSt18condition_variable10notify_allEv");
int realLock(pthread_mutex_t* mutex) asm("__real_pthread_mutex_lock");
int lockMutex(pthread_mutex_t* mutex) asm("__wrap_pthread_mutex_lock");

void sleepOn(std::condition_variable* condition, Lock& lock) {
    if (moments != nullptr) {
        moments->sleeps();
    }
    realSleepOn(condition, lock);
}

void wakeAll(std::condition_variable* condition) {
    realWakeAll(condition);
    if (moments != nullptr) {
        moments->hasWoken();
    }
}

int lockMutex(pthread_mutex_t* mutex) {
    if (moments != nullptr) {
        moments->locks();
    }
    return realLock(mutex);
}

} // extern "C"

namespace {

// A thread that has seen the queue unfinished, and is about to sleep, holds the lock until it
// sleeps. To wake it without the lock would be too early.
TEST(OperationQueueWakeUp, IsNotLostOnAWaiterThatIsAboutToSleep) {
    using namespace std::chrono_literals;
    std::binary_semaphore isAboutToSleep{0};
    std::binary_semaphore queueGoesOn{0};
    std::atomic<bool> isSignalled{false};
    const auto signalOnce = [&] {
        if (!isSignalled.exchange(true)) {
            queueGoesOn.release();
        }
    };
    Moments ofWaiter{.sleeps = [&] {
        isAboutToSleep.release();
        queueGoesOn.acquire();
        moments = nullptr;
    }};
    Moments ofQueue{.hasWoken = signalOnce, .locks = signalOnce};
    std::future<void> waiter;
    qf::OperationQueue queue;
    queue.completeWith([&] {
        if (!waiter.valid()) {
            waiter = std::async(std::launch::async, [&] {
                moments = &ofWaiter;
                queue.waitUntilAllOperationsAreFinished();
            });
            isAboutToSleep.acquire();
            moments = &ofQueue;
        }
    });

    queue.addOperation([] {});

    queue.waitUntilAllOperationsAreFinished();
    EXPECT_EQ(waiter.wait_for(10s), std::future_status::ready);
    // A waiter that was not woken is woken by the next operation.
    queue.addOperation([] {});
    queue.waitUntilAllOperationsAreFinished();
}

} // namespace

#endif
