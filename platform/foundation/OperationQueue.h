#pragma once

#include <atomic>
#include <concepts>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>

namespace platform {

/// Runs operations one at a time, in the order in which they were added, on a thread of its own.
///
/// Any thread may call every member, also an operation of the queue itself. An exception that
/// leaves an operation is one that nobody caught: it ends the process.
class OperationQueue {
public:
    OperationQueue() = default;

    /// Waits until all operations are finished. Never destroy a queue in one of its operations.
    ~OperationQueue();
    OperationQueue(const OperationQueue&) = delete;
    OperationQueue& operator=(const OperationQueue&) = delete;
    OperationQueue(OperationQueue&&) = delete;
    OperationQueue& operator=(OperationQueue&&) = delete;

    /// Adds an operation behind all others and returns at once. Throws platform::Exception
    /// "NSGenericException" when it is the first one and the system has no thread left.
    template <std::invocable Work>
    void addOperation(Work work) {
        add(std::make_unique<OperationOf<Work>>(std::move(work)));
    }

    /// How many operations are not finished, the running one included.
    std::size_t operationCount() const;

    /// Drops every operation that has not begun. Those still count until the queue comes to them.
    void cancelAllOperations();

    /// Returns when the queue was empty at some moment since the call: what is added meanwhile, and
    /// behind it without a gap, is waited for too.
    ///
    /// Called in one of the queue's own operations, which cannot wait for itself, it runs those
    /// that were added behind that operation before the call at once, inside it.
    void waitUntilAllOperationsAreFinished();

    /// In an operation of the queue: its number, from 1 on. Elsewhere 0.
    std::uint64_t currentOperation() const;

    /// Has `completion` called on the queue's thread before anybody who waits is told that all
    /// operations are finished: each time when none is left, and when a wait in an operation ends.
    /// It replaces an earlier one, neither throws nor waits for the queue, and may add operations.
    void completeWith(std::function<void()> completion);

    /// For a process that is about to be copied with this thread alone (POSIX: fork). Between the
    /// first call and the other one, nobody holds the queue's lock but this thread. In the copy
    /// the queue then begins anew: what was to be run is the original's alone.
    void prepareForCopy() { mutex_.lock(); }
    void goOnAfterCopy() { mutex_.unlock(); }
    void beginAnewAsCopy();

private:
    /// One that was added, and the one that it is chained to.
    struct Operation {
        Operation() = default;
        virtual ~Operation() = default;
        Operation(const Operation&) = delete;
        Operation& operator=(const Operation&) = delete;
        Operation(Operation&&) = delete;
        Operation& operator=(Operation&&) = delete;
        virtual void run() = 0;

        Operation* next = nullptr;
        std::uint64_t number = 0;
    };

    template <class Work>
    struct OperationOf : Operation {
        explicit OperationOf(Work given) : work(std::move(given)) {}
        void run() override { work(); }

        Work work;
    };

    void add(std::unique_ptr<Operation> operation);
    void push(std::unique_ptr<Operation> operation);
    void startThread();
    void run() noexcept;
    void waitForOperations();
    bool runNext();
    Operation* takeAll();
    void complete();
    void publishEmptiness();

    // Who changes what decides where it lies, so that callers and the queue's thread do not take
    // cache lines from each other.
    static constexpr std::size_t cacheLine = 64;

    // What every caller changes. An operation is counted, and numbered from 0, before it is chained
    // to the others, so that there are never more of them than were counted.
    alignas(cacheLine) std::atomic<std::uint64_t> added_{0};
    std::atomic<Operation*> newest_{nullptr}; // chained to the one before it, and so on
    std::function<void()> completion_;        // seldom changed; there is room here

    // What is changed now and then.
    alignas(cacheLine) std::atomic<std::uint64_t> cancelledBelow_{0};
    static constexpr auto nothingAwaited = std::numeric_limits<std::uint64_t>::max();
    std::atomic<std::uint64_t> awaited_{nothingAwaited}; // by the waiter that needs the fewest
    std::mutex mutex_;
    std::condition_variable finishedGrew_;
    std::atomic<bool> started_{false};
    std::thread thread_;

    // What only the queue's thread changes.
    alignas(cacheLine) Operation* oldest_ = nullptr; // of those taken, chained to the one behind it
    std::uint64_t taken_ = 0;
    unsigned depth_ = 0;
    bool ending_ = false;
    std::atomic<std::uint64_t> completed_{0};
    std::atomic<std::uint64_t> emptiedAt_{0}; // so many were finished when there were no others
};

} // namespace platform
