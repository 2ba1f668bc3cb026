#include "platform/foundation/Timer.h"

#include "platform/foundation/Thread.h"

#include <condition_variable>
#include <map>
#include <mutex>
#include <utility>

namespace qf {

namespace {

class Timer {
public:
    Timer() {
        detachNewThread([this] { run(); });
    }

    void add(std::chrono::seconds delay, std::function<void()> operation) {
        {
            const std::lock_guard lock(mutex_);
            pending_.emplace(Clock::now() + delay, std::move(operation));
        }
        added_.notify_one();
    }

private:
    using Clock = std::chrono::steady_clock;

    void run() noexcept {
        std::unique_lock lock(mutex_);
        for (;;) {
            if (pending_.empty()) {
                added_.wait(lock);
            } else if (const auto due = pending_.begin()->first; due > Clock::now()) {
                added_.wait_until(lock, due);
            } else {
                auto next = pending_.extract(pending_.begin());
                lock.unlock();
                next.mapped()();
                next = {};
                lock.lock();
            }
        }
    }

    std::mutex mutex_;
    std::condition_variable added_;
    std::multimap<Clock::time_point, std::function<void()>> pending_;
};

} // namespace

void performAfter(std::chrono::seconds delay, std::function<void()> operation) {
    // Never destroyed: its thread runs until the process has ended.
    static auto& timer = *new Timer;
    timer.add(delay, std::move(operation));
}

} // namespace qf
