#pragma once

#include "platform/Application.h"

#include <chrono>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <thread>

namespace platform {

/// What every implementation of the application has in common, whatever its event loop is: work on
/// its way to the main thread, the observers of termination, and the end.
///
/// It outlives the event loop and every thread that may still call it: start-up never deletes it.
class ApplicationCore : public Application {
public:
    ~ApplicationCore() override;
    ApplicationCore(const ApplicationCore&) = delete;
    ApplicationCore& operator=(const ApplicationCore&) = delete;
    ApplicationCore(ApplicationCore&&) = delete;
    ApplicationCore& operator=(ApplicationCore&&) = delete;

    /// Tells which window mainWindow() is about, null for none. Main thread only.
    void setMainWindow(Window* window) { mainWindow_ = window; }

    bool isMainThread() final;
    void performOnMainThread(std::function<void()> work, Wait wait) final;
    void handleNextEvent(std::chrono::milliseconds deadline) final;
    void terminate() final;
    int addTerminationObserver(std::function<void()> observer) final;
    void removeTerminationObserver(int observer) final;
    Window* mainWindow() final;

protected:
    /// The calling thread is the main thread from now on.
    ApplicationCore();

    /// Whether terminate() was called. Main thread only.
    bool isTerminated() const { return terminated_; }

    /// Does the oldest of the work that has come. Main thread only, once for each ring().
    void performNextJob();

    /// Runs the observers of termination that have not run yet. Main thread only.
    void runTerminationObservers();

    /// Drops all work, and what comes later: the event loop has ended for good. Main thread only.
    void dropWork();

private:
    class Job;

    /// Has performNextJob() called by the event loop, nested or not. Any thread.
    virtual void ring() = 0;

    /// Takes the next event, waiting at most `deadline` for one, and dispatches it. Main thread.
    virtual void dispatchNextEvent(std::chrono::milliseconds deadline) = 0;

    /// Has the outermost event loop end. Main thread.
    virtual void leaveEventLoop() = 0;

    void enqueue(std::shared_ptr<Job> job);

    const std::thread::id mainThread_;
    Window* mainWindow_ = nullptr;
    int pumps_ = 0;
    bool terminated_ = false;

    std::mutex mutex_;
    bool isOpen_ = true;
    std::deque<std::shared_ptr<Job>> jobs_;
    std::map<int, std::function<void()>> observers_;
    int lastObserver_ = 0;
};

} // namespace platform
