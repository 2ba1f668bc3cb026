#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <limits>
#include <mutex>
#include <thread>

namespace platform {

/// Runs operations one at a time, in the order in which they were added, on a thread of its own.
///
/// Any thread may call every member, also an operation of the queue itself. An exception that
/// leaves an operation is one that nobody caught: it ends the process.
class OperationQueue {
public:
    /// What is run.
    using Operation = std::function<void()>;

    OperationQueue() = default;

    /// Waits until all operations are finished. Never destroy a queue in one of its operations.
    ~OperationQueue();
    OperationQueue(const OperationQueue&) = delete;
    OperationQueue& operator=(const OperationQueue&) = delete;
    OperationQueue(OperationQueue&&) = delete;
    OperationQueue& operator=(OperationQueue&&) = delete;

    /// Adds an operation behind all others and returns at once. Throws platform::Exception
    /// "NSGenericException" when it is the first one and the system has no thread left.
    void addOperation(Operation operation);

    /// How many operations are not finished, the running one included.
    std::size_t operationCount() const;

    /// Drops every operation that has not begun. Those still count until the queue comes to them.
    void cancelAllOperations();

    /// Returns when every operation that was added before the call is finished or dropped; what is
    /// added meanwhile is not waited for.
    ///
    /// Called in one of the queue's own operations, which cannot wait for itself, it runs those
    /// that stand behind that operation at once, inside it.
    void waitUntilAllOperationsAreFinished();

private:
    void run() noexcept;
    void waitForOperations();
    bool runNext();
    bool takeBatch();
    void publishFinished();

    // Who changes what decides where it lies, so that callers and the queue's thread do not take
    // cache lines from each other.
    static constexpr std::size_t cacheLine = 64;

    // What every caller changes.
    alignas(cacheLine) std::mutex mutex_;
    std::deque<Operation> pending_;
    bool asleep_ = false;
    bool ending_ = false;
    std::atomic<std::uint64_t> added_{0};

    // What is changed now and then.
    alignas(cacheLine) std::atomic<std::uint64_t> cancelledBelow_{0};
    static constexpr auto nothingAwaited = std::numeric_limits<std::uint64_t>::max();
    std::atomic<std::uint64_t> awaited_{nothingAwaited}; // by the waiter that needs the fewest
    std::condition_variable wakeUp_;
    std::condition_variable finishedGrew_;
    std::thread thread_;

    // What only the queue's thread changes. Operations are numbered as they are added, from 0.
    // Taking many at once keeps the thread off the lock.
    alignas(cacheLine) std::deque<Operation> batch_;
    std::uint64_t taken_ = 0;
    unsigned depth_ = 0;
    std::atomic<std::uint64_t> completed_{0};
    std::atomic<std::uint64_t> finishedBelow_{0};
};

} // namespace platform
