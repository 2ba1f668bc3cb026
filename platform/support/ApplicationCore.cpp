#include "platform/support/ApplicationCore.h"

#include "platform/Windows.h"

#include <algorithm>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <utility>

namespace qf {

/// Work for the main thread, and what its caller waits on.
class ApplicationCore::Job {
public:
    explicit Job(std::function<void()> work, Wait wait) : work_(std::move(work)), wait_(wait) {}

    /// Does the work. An exception reaches the waiting caller, if any; otherwise it ends the
    /// process, like any uncaught exception.
    void perform() {
        if (wait_ == Wait::no) {
            performUnattended();
            return;
        }
        try {
            work_();
        } catch (...) {
            exception_ = std::current_exception();
        }
        work_ = nullptr;
    }

    void release() {
        const std::lock_guard lock(mutex_);
        done_ = true;
        released_.notify_one();
    }

    void waitUntilReleased() {
        std::unique_lock lock(mutex_);
        released_.wait(lock, [this] { return done_; });
        if (exception_) {
            std::rethrow_exception(std::exchange(exception_, nullptr));
        }
    }

private:
    void performUnattended() noexcept { std::exchange(work_, nullptr)(); }

    std::function<void()> work_;
    const Wait wait_;
    std::mutex mutex_;
    std::condition_variable released_;
    bool done_ = false;
    std::exception_ptr exception_;
};

ApplicationCore::ApplicationCore() : mainThread_(std::this_thread::get_id()) {
}

ApplicationCore::~ApplicationCore() = default;

bool ApplicationCore::isMainThread() {
    return std::this_thread::get_id() == mainThread_;
}

void ApplicationCore::performOnMainThread(std::function<void()> work, Wait wait) {
    if (wait == Wait::untilDone && isMainThread()) {
        work();
        return;
    }
    const auto job = std::make_shared<Job>(std::move(work), wait);
    enqueue(job);
    if (wait == Wait::untilDone) {
        job->waitUntilReleased();
    }
}

void ApplicationCore::enqueue(std::shared_ptr<Job> job) {
    const std::lock_guard lock(mutex_);
    if (isOpen_) {
        jobs_.push_back(std::move(job));
        if (hasEventLoop_) {
            ring();
        } else {
            enqueued_.notify_one();
        }
    }
}

void ApplicationCore::performNextJob() {
    std::shared_ptr<Job> job;
    {
        const std::lock_guard lock(mutex_);
        job = std::move(jobs_.front());
        jobs_.pop_front();
    }
    job->perform();
    if (!terminated_) {
        job->release();
    }
}

void ApplicationCore::dropWork() {
    std::deque<std::shared_ptr<Job>> dropped;
    const std::lock_guard lock(mutex_);
    isOpen_ = false;
    dropped = std::exchange(jobs_, {});
    windows_.clear();
}

void ApplicationCore::handleNextEvent(std::chrono::milliseconds deadline) {
    ++pumps_;
    if (hasEventLoop_) {
        dispatchNextEvent(deadline);
    } else {
        performNextJobWithin(deadline);
    }
    --pumps_;
}

void ApplicationCore::performNextJobWithin(std::chrono::milliseconds deadline) {
    std::unique_lock lock(mutex_);
    if (enqueued_.wait_for(lock, deadline, [this] { return !jobs_.empty(); })) {
        lock.unlock();
        performNextJob();
    }
}

bool ApplicationCore::runWithoutEventLoop() {
    if (pumps_ > 0) {
        return false;
    }
    {
        const std::lock_guard lock(mutex_);
        hasEventLoop_ = false;
    }
    while (!terminated_) {
        std::unique_lock lock(mutex_);
        enqueued_.wait(lock, [this] { return !jobs_.empty(); });
        lock.unlock();
        performNextJob();
    }
    return true;
}

void ApplicationCore::terminate() {
    if (terminated_) {
        return;
    }
    runTerminationObservers();
    if (pumps_ > 0) {
        // Somebody further up waits for an answer that no longer comes, so there is no way back
        // to the outermost event loop.
        const int status = exitStatus_();
        std::fflush(nullptr);
        std::_Exit(status);
    }
    if (hasEventLoop_) {
        leaveEventLoop();
    }
}

void ApplicationCore::runTerminationObservers() {
    terminated_ = true;
    std::unique_lock lock(mutex_);
    while (!observers_.empty()) {
        const auto observer = observers_.extract(observers_.begin());
        lock.unlock();
        observer.mapped()();
        lock.lock();
    }
}

Window* ApplicationCore::mainWindow() {
    const auto found = std::ranges::find_if(windows_, &Window::isVisible);
    return found == windows_.end() ? nullptr : *found;
}

int ApplicationCore::addTerminationObserver(std::function<void()> observer) {
    const std::lock_guard lock(mutex_);
    observers_.emplace(++lastObserver_, std::move(observer));
    return lastObserver_;
}

void ApplicationCore::removeTerminationObserver(int observer) {
    const std::lock_guard lock(mutex_);
    observers_.erase(observer);
}

} // namespace qf
