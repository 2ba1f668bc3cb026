#include "platform/foundation/OperationQueue.h"

#include "platform/foundation/Exception.h"

#include <algorithm>
#include <string>
#include <system_error>
#include <utility>

namespace platform {

namespace {

/// How often the thread looks for more before it sleeps: waking it costs the caller more than all
/// the rest of adding an operation.
constexpr int looksBeforeSleep = 64;

/// The queue whose thread this is.
thread_local const OperationQueue* queueOfThisThread = nullptr;

} // namespace

OperationQueue::~OperationQueue() {
    {
        const std::lock_guard lock(mutex_);
        ending_ = true;
    }
    wakeUp_.notify_one();
    if (thread_.joinable()) {
        thread_.join();
    }
}

void OperationQueue::addOperation(Operation operation) {
    bool wake = false;
    {
        const std::lock_guard lock(mutex_);
        if (!thread_.joinable()) {
            try {
                thread_ = std::thread([this] { run(); });
            } catch (const std::system_error& error) {
                throw Exception("NSGenericException",
                                std::string("could not start a thread: ") + error.what());
            }
        }
        pending_.push_back(std::move(operation));
        added_.fetch_add(1);
        wake = std::exchange(asleep_, false);
    }
    if (wake) {
        wakeUp_.notify_one();
    }
}

std::size_t OperationQueue::operationCount() const {
    const auto completed = completed_.load();
    return static_cast<std::size_t>(added_.load() - completed);
}

void OperationQueue::cancelAllOperations() {
    const std::lock_guard lock(mutex_);
    cancelledBelow_.store(added_.load());
}

void OperationQueue::waitUntilAllOperationsAreFinished() {
    const auto target = added_.load();
    if (queueOfThisThread == this) {
        while (taken_ < target && runNext()) {
        }
        return;
    }
    std::unique_lock lock(mutex_);
    for (;;) {
        awaited_.store(std::min(awaited_.load(), target));
        if (finishedBelow_.load() >= target) {
            return;
        }
        finishedGrew_.wait(lock);
    }
}

void OperationQueue::run() noexcept {
    queueOfThisThread = this;
    for (;;) {
        while (runNext()) {
        }
        waitForOperations();
        const std::lock_guard lock(mutex_);
        if (ending_ && pending_.empty()) {
            return;
        }
    }
}

void OperationQueue::waitForOperations() {
    for (int look = 0; look < looksBeforeSleep; ++look) {
        if (added_.load(std::memory_order_relaxed) != taken_) {
            return;
        }
        std::this_thread::yield();
    }
    std::unique_lock lock(mutex_);
    while (pending_.empty() && !ending_) {
        asleep_ = true;
        wakeUp_.wait(lock);
    }
    asleep_ = false;
}

bool OperationQueue::runNext() {
    if (batch_.empty() && !takeBatch()) {
        return false;
    }
    auto operation = std::move(batch_.front());
    batch_.pop_front();
    const auto number = taken_++;
    ++depth_;
    if (number >= cancelledBelow_.load()) {
        operation();
    }
    operation = nullptr;
    --depth_;
    completed_.fetch_add(1);
    if (depth_ == 0) {
        publishFinished();
    }
    return true;
}

bool OperationQueue::takeBatch() {
    const std::lock_guard lock(mutex_);
    batch_.swap(pending_);
    return !batch_.empty();
}

/// Only where no operation is under way are all that were taken finished. Waiters sleep until the
/// first of them has what it waits for; the others then say again what they wait for.
void OperationQueue::publishFinished() {
    finishedBelow_.store(taken_);
    if (taken_ >= awaited_.load()) {
        const std::lock_guard lock(mutex_);
        awaited_.store(nothingAwaited);
        finishedGrew_.notify_all();
    }
}

} // namespace platform
