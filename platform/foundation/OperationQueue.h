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

namespace qf {

/// Runs operations one at a time, in the order in which they were added, on its own thread.
///
/// Any thread may call every member, including an operation of the queue itself. An exception that
/// leaves an operation ends the process.
class OperationQueue {
public:
    OperationQueue() = default;

    /// Waits until all operations are finished. A queue must not be destroyed by one of its
    /// operations.
    ~OperationQueue();
    OperationQueue(const OperationQueue&) = delete;
    OperationQueue& operator=(const OperationQueue&) = delete;
    OperationQueue(OperationQueue&&) = delete;
    OperationQueue& operator=(OperationQueue&&) = delete;

    /// Adds an operation after all others and returns at once. Throws qf::Exception
    /// "NSGenericException" if it is the first one and the system has no thread left.
    template <std::invocable Work>
    void addOperation(Work work) {
        add(std::make_unique<OperationOf<Work>>(std::move(work)));
    }

    /// Returns the number of unfinished operations, including the running one.
    std::size_t operationCount() const;

    /// Drops every operation that has not begun. They still count until the queue reaches them.
    void cancelAllOperations();

    /// Waits until the queue has been empty at some moment since the call: operations added
    /// meanwhile, without a gap, are waited for too.
    ///
    /// Called from one of the queue's own operations, which cannot wait for itself, it runs at
    /// once, inside that operation, those that were added after it and before the call.
    void waitUntilAllOperationsAreFinished();

    /// Returns the number of the current operation of the queue, from 1 on; 0 outside of
    /// operations.
    std::uint64_t currentOperation() const;

    /// Has `completion` called on the queue's thread before anybody who waits is told that all
    /// operations are finished: each time when none is left, and when a wait in an operation ends.
    /// It replaces an earlier one, neither throws nor waits for the queue, and may add operations.
    void completeWith(std::function<void()> completion);

    /// For a process that is about to be copied with this thread alone (POSIX: fork). Between the
    /// first call and one of the others, this thread alone holds the queue's lock. In the copy the
    /// queue starts afresh: pending operations run in the original alone.
    void prepareForCopy() { mutex_.lock(); }
    void goOnAfterCopy() { mutex_.unlock(); }
    void beginAnewAsCopy();

private:
    /// An operation, linked to the next one.
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

    // Members are placed by who changes them, so that callers and the queue's thread do not contend
    // for cache lines.
    static constexpr std::size_t cacheLine = 64;

    // Changed by every caller. An operation is counted, and numbered from 0, before it is linked to
    // the others, so that there are never more of them than were counted.
    alignas(cacheLine) std::atomic<std::uint64_t> added_{0};
    std::atomic<Operation*> newest_{nullptr}; // linked to the one before it, and so on
    std::function<void()> completion_;        // seldom changed; there is room here

    // Changed rarely.
    alignas(cacheLine) std::atomic<std::uint64_t> cancelledBelow_{0};
    static constexpr auto nothingAwaited = std::numeric_limits<std::uint64_t>::max();
    std::atomic<std::uint64_t> awaited_{nothingAwaited}; // by the waiter that needs the fewest
    std::mutex mutex_;
    std::condition_variable finishedGrew_;
    std::atomic<bool> started_{false};
    std::thread thread_;

    // Changed by the queue's thread only.
    alignas(cacheLine) Operation* oldest_ = nullptr; // of those taken, linked to the next
    std::uint64_t taken_ = 0;
    unsigned depth_ = 0;
    bool ending_ = false;
    std::atomic<std::uint64_t> completed_{0};
    std::atomic<std::uint64_t> emptiedAt_{0}; // number finished when there were no others
};

} // namespace qf
