#pragma once

#include "tests/support/TestClock.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>
#include <utility>
#include <vector>

/// A clock that advances only while the thread that made it sleeps, so that tests need not wait.
/// Other threads really sleep.
class PausingClock : public TestClock {
public:
    /// The duration of every sleep.
    std::vector<std::chrono::microseconds> rests;
    /// The delays of the operations that were scheduled.
    std::vector<std::chrono::seconds> timeouts;
    /// Called during each sleep.
    std::function<void()> meanwhile = [] {};

    qf::Date now() override { return time_; }
    void sleep(std::chrono::microseconds duration) override {
        if (std::this_thread::get_id() != maker_) {
            std::this_thread::sleep_for(duration);
            return;
        }
        rests.push_back(duration);
        pass(duration);
        meanwhile();
    }
    void performAfter(std::chrono::seconds delay, std::function<void()> operation) override {
        timeouts.push_back(delay);
        TestClock::performAfter(delay, std::move(operation));
    }
    void pass(std::chrono::microseconds duration) { time_ = now() + duration; }

private:
    const std::thread::id maker_ = std::this_thread::get_id();
    std::atomic<qf::Date> time_{std::chrono::sys_days(std::chrono::year(2026) / 11 / 16)};
};
