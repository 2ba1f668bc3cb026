#pragma once

#include "platform/support/Process.h"

#include <condition_variable>
#include <memory>
#include <mutex>

/// A place for one child, or none. Any thread may call every member.
class TaskSlot {
public:
    /// The child, or null.
    std::shared_ptr<platform::Process> get() const {
        const std::lock_guard lock(mutex_);
        return task_;
    }

    /// Puts a child, or null, in the place of what was there.
    void set(std::shared_ptr<platform::Process> task) {
        const std::lock_guard lock(mutex_);
        task_.swap(task);
    }

    /// Says that a child is about to be launched in this slot, or is no longer.
    void expectLaunch(bool expected) {
        const std::lock_guard lock(mutex_);
        launchExpected_ = expected;
        launched_.notify_all();
    }

    /// Returns when no launch is expected.
    void waitForExpectedLaunch() const {
        std::unique_lock lock(mutex_);
        launched_.wait(lock, [this] { return !launchExpected_; });
    }

private:
    mutable std::mutex mutex_;
    mutable std::condition_variable launched_;
    std::shared_ptr<platform::Process> task_;
    bool launchExpected_ = false;
};
