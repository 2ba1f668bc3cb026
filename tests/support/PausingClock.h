#pragma once

#include "platform/Clock.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>
#include <vector>

/// A clock that moves only while the thread that made it pauses, so that no test has to wait. Other
/// threads really sleep.
class PausingClock : public platform::Clock {
public:
    /// Every rest that was taken.
    std::vector<std::chrono::microseconds> rests;
    /// What happens in the world during each rest.
    std::function<void()> meanwhile = [] {};

    platform::Date now() override { return time_; }
    void sleep(std::chrono::microseconds duration) override {
        if (std::this_thread::get_id() != maker_) {
            std::this_thread::sleep_for(duration);
            return;
        }
        rests.push_back(duration);
        pass(duration);
        meanwhile();
    }
    void pass(std::chrono::microseconds duration) { time_ = now() + duration; }

private:
    const std::thread::id maker_ = std::this_thread::get_id();
    std::atomic<platform::Date> time_{std::chrono::sys_days(std::chrono::year(2026) / 11 / 16)};
};
