#include "platform/foundation/GlobalQueue.h"

#include "platform/foundation/Exception.h"
#include "platform/foundation/Thread.h"

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <utility>

namespace qf {

namespace {

class GlobalQueue {
public:
    void add(std::function<void()> operation) {
        {
            const std::lock_guard lock(mutex_);
            if (pending_.size() >= idle_ && threads_ < mostThreads) {
                startThread();
            }
            pending_.push_back(std::move(operation));
        }
        wakeUp_.notify_one();
    }

private:
    static constexpr std::size_t mostThreads = 64;

    /// Without a new thread, the operation waits for an existing one.
    void startThread() {
        try {
            detachNewThread([this] { run(); });
            ++threads_;
        } catch (const Exception&) {
            if (threads_ == 0) {
                throw;
            }
        }
    }

    void run() noexcept {
        std::unique_lock lock(mutex_);
        for (;;) {
            ++idle_;
            wakeUp_.wait(lock, [this] { return !pending_.empty(); });
            --idle_;
            auto operation = std::move(pending_.front());
            pending_.pop_front();
            lock.unlock();
            operation();
            operation = nullptr;
            lock.lock();
        }
    }

    std::mutex mutex_;
    std::condition_variable wakeUp_;
    std::deque<std::function<void()>> pending_;
    std::size_t idle_ = 0;
    std::size_t threads_ = 0;
};

} // namespace

void dispatchAsync(std::function<void()> operation) {
    // Never destroyed: its threads run until the process has ended.
    static auto& queue = *new GlobalQueue;
    queue.add(std::move(operation));
}

} // namespace qf
