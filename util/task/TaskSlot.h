#pragma once

#include "platform/support/Process.h"

#include <functional>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace qf {

/// Holds one child, or null. Any thread may call every member.
class TaskSlot {
public:
    /// Returns the child, or null.
    std::shared_ptr<Process> get() const {
        const std::lock_guard lock(mutex_);
        return task_;
    }

    /// Replaces the child, possibly by null.
    void set(std::shared_ptr<Process> task) {
        const std::lock_guard lock(mutex_);
        task_.swap(task);
    }

    /// Announces that a child is about to be launched in this slot, or no longer is.
    void expectLaunch(bool expected) {
        std::vector<std::function<void()>> due;
        {
            const std::lock_guard lock(mutex_);
            launchExpected_ = expected;
            if (!expected) {
                due.swap(afterLaunch_);
            }
        }
        for (const auto& action : due) {
            action();
        }
    }

    /// Runs the action at once or, while a launch is expected, after it, on the launching thread.
    void onceLaunched(std::function<void()> action) {
        {
            const std::lock_guard lock(mutex_);
            if (launchExpected_) {
                afterLaunch_.push_back(std::move(action));
                return;
            }
        }
        action();
    }

private:
    mutable std::mutex mutex_;
    std::shared_ptr<Process> task_;
    bool launchExpected_ = false;
    std::vector<std::function<void()>> afterLaunch_;
};

} // namespace qf
