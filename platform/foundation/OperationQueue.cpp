#include "platform/foundation/OperationQueue.h"

#include "platform/foundation/Thread.h"

#include <algorithm>
#include <new>
#include <system_error>
#include <utility>

namespace qf {

namespace {

/// How often the thread polls for operations before it sleeps: waking it costs the caller more than
/// the rest of adding an operation.
constexpr int looksBeforeSleep = 64;

/// The number of an operation that cannot be cancelled.
constexpr auto neverCancelled = std::numeric_limits<std::uint64_t>::max();

/// The queue whose thread this is.
thread_local const OperationQueue* queueOfThisThread = nullptr;

} // namespace

OperationQueue::~OperationQueue() {
    if (!thread_.joinable()) {
        return;
    }
    const auto end = [this] { ending_ = true; };
    auto last = std::make_unique<OperationOf<decltype(end)>>(end);
    last->number = neverCancelled;
    added_.fetch_add(1);
    push(std::move(last));
    thread_.join();
}

void OperationQueue::add(std::unique_ptr<Operation> operation) {
    startThread();
    operation->number = added_.fetch_add(1);
    push(std::move(operation));
}

/// Callers push and the thread takes everything: of the lock-free stacks (R. K. Treiber, "Systems
/// Programming: Coping with Parallelism", 1986) this is the case without the ABA problem.
void OperationQueue::push(std::unique_ptr<Operation> operation) {
    auto* before = newest_.load(std::memory_order_relaxed);
    auto* const added = operation.release();
    do {
        added->next = before;
    } while (!newest_.compare_exchange_weak(before, added));
    if (before == nullptr) {
        newest_.notify_one();
    }
}

void OperationQueue::startThread() {
    if (started_.load(std::memory_order_acquire)) {
        return;
    }
    const std::lock_guard lock(mutex_);
    if (thread_.joinable()) {
        return;
    }
    try {
        thread_ = std::thread([this] { run(); });
    } catch (const std::system_error& error) {
        throw NoThreadLeft(error.code());
    }
    started_.store(true, std::memory_order_release);
}

std::size_t OperationQueue::operationCount() const {
    const auto completed = completed_.load();
    return static_cast<std::size_t>(added_.load() - completed);
}

void OperationQueue::cancelAllOperations() {
    cancelledBelow_.store(added_.load());
}

void OperationQueue::waitUntilAllOperationsAreFinished() {
    const auto target = added_.load();
    if (queueOfThisThread == this) {
        while (taken_ < target && runNext()) {
        }
        complete();
        return;
    }
    std::unique_lock lock(mutex_);
    for (;;) {
        awaited_.store(std::min(awaited_.load(), target));
        if (emptiedAt_.load() >= target) {
            return;
        }
        finishedGrew_.wait(lock);
    }
}

void OperationQueue::completeWith(std::function<void()> completion) {
    const std::lock_guard lock(mutex_);
    completion_ = std::move(completion);
}

/// Without the lock, for which those who add operations to be waited for do not wait either.
void OperationQueue::complete() {
    std::unique_lock lock(mutex_);
    const auto completion = completion_;
    lock.unlock();
    if (completion) {
        completion();
    }
}

std::uint64_t OperationQueue::currentOperation() const {
    return queueOfThisThread == this ? taken_ : 0;
}

void OperationQueue::run() noexcept {
    queueOfThisThread = this;
    for (;;) {
        while (runNext()) {
        }
        if (ending_) {
            return;
        }
        waitForOperations();
    }
}

void OperationQueue::waitForOperations() {
    for (int look = 0; look < looksBeforeSleep; ++look) {
        if (newest_.load(std::memory_order_relaxed) != nullptr) {
            return;
        }
        std::this_thread::yield();
    }
    newest_.wait(nullptr);
}

bool OperationQueue::runNext() {
    if (oldest_ == nullptr) {
        oldest_ = takeAll();
    }
    if (oldest_ == nullptr) {
        return false;
    }
    std::unique_ptr<Operation> operation(std::exchange(oldest_, oldest_->next));
    ++taken_;
    ++depth_;
    if (operation->number >= cancelledBelow_.load()) {
        operation->run();
    }
    operation.reset();
    --depth_;
    completed_.fetch_add(1);
    if (depth_ == 0 && oldest_ == nullptr) {
        publishEmptiness();
    }
    return true;
}

/// Takes what callers have added and reverses the list, so that the first added comes first.
OperationQueue::Operation* OperationQueue::takeAll() {
    Operation* oldest = nullptr;
    auto* rest = newest_.exchange(nullptr);
    while (rest != nullptr) {
        auto* const operation = std::exchange(rest, rest->next);
        operation->next = std::exchange(oldest, operation);
    }
    return oldest;
}

/// Waiters sleep until the first of them can go on; the others then register again.
void OperationQueue::publishEmptiness() {
    if (added_.load() != taken_) {
        return;
    }
    complete();
    emptiedAt_.store(taken_);
    if (taken_ >= awaited_.load()) {
        const std::lock_guard lock(mutex_);
        awaited_.store(nothingAwaited);
        finishedGrew_.notify_all();
    }
}

/// The thread, the waiters and the operations are the original's: their state is overwritten in
/// place, because it cannot be destroyed here.
void OperationQueue::beginAnewAsCopy() {
    new (&thread_) std::thread;
    new (&finishedGrew_) std::condition_variable;
    started_ = false;
    added_ = 0;
    newest_ = nullptr;
    cancelledBelow_ = 0;
    awaited_ = nothingAwaited;
    oldest_ = nullptr;
    taken_ = 0;
    depth_ = 0;
    completed_ = 0;
    emptiedAt_ = 0;
    mutex_.unlock();
}

} // namespace qf
