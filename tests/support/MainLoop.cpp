#include "tests/support/MainLoop.h"

#include <future>
#include <utility>

MainLoop& MainLoop::shared() {
    static auto& loop = *new MainLoop;
    return loop;
}

MainLoop::MainLoop() {
    const std::lock_guard lock(mutex_);
    std::thread thread([this] { run(); });
    mainThread_ = thread.get_id();
    thread.detach();
}

void MainLoop::run() {
    std::unique_lock lock(mutex_);
    for (;;) {
        changed_.wait(lock, [this] { return !work_.empty(); });
        const auto work = std::move(work_.front());
        work_.pop_front();
        lock.unlock();
        work();
        lock.lock();
        ++performed_;
        changed_.notify_all();
    }
}

void MainLoop::performOnMainThread(std::function<void()> work, qf::Wait wait) {
    if (wait == qf::Wait::untilDone && isMainThread()) {
        work();
        return;
    }
    auto done = std::make_shared<std::promise<void>>();
    {
        const std::lock_guard lock(mutex_);
        work_.emplace_back([work = std::move(work), done] {
            work();
            done->set_value();
        });
        changed_.notify_all();
    }
    if (wait == qf::Wait::untilDone) {
        done->get_future().wait();
    }
}

int MainLoop::performed() const {
    const std::lock_guard lock(mutex_);
    return performed_;
}

void MainLoop::waitUntilPerformed(int count) const {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this, count] { return performed_ >= count; });
}
