#pragma once

#include "platform/Clock.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>
#include <vector>

/// A clock that stands still but while somebody pauses, so that no test has to wait. Whoever is not
/// to be seen, as the thread of a time-out that never comes, really sleeps.
class PausingClock : public platform::Clock {
public:
    /// Whose pauses pass at once and are seen: those of the thread that makes the clock, or all.
    enum class Pauses { ofThisThread, ofEveryThread };

    explicit PausingClock(Pauses seen = Pauses::ofThisThread) : seen_(seen) {}

    /// Every rest that was taken.
    std::vector<std::chrono::microseconds> rests;
    /// What happens in the world during each rest.
    std::function<void()> meanwhile = [] {};

    platform::Date now() override { return time_; }
    void sleep(std::chrono::microseconds duration) override {
        if (seen_ == Pauses::ofThisThread && std::this_thread::get_id() != maker_) {
            std::this_thread::sleep_for(duration);
            return;
        }
        rests.push_back(duration);
        pass(duration);
        meanwhile();
    }
    void pass(std::chrono::microseconds duration) { time_ = now() + duration; }

private:
    const Pauses seen_;
    const std::thread::id maker_ = std::this_thread::get_id();
    std::atomic<platform::Date> time_{std::chrono::sys_days(std::chrono::year(2026) / 11 / 16)};
};
