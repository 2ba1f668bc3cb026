#pragma once

#include "platform/Application.h"

#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace qf {

/// The part of the application that does not depend on its event loop: work for the main thread,
/// termination observers, and termination.
///
/// Outlives the event loop and every thread that may still call it: start-up never deletes it.
class ApplicationCore : public Application {
public:
    ~ApplicationCore() override;
    ApplicationCore(const ApplicationCore&) = delete;
    ApplicationCore& operator=(const ApplicationCore&) = delete;
    ApplicationCore(ApplicationCore&&) = delete;
    ApplicationCore& operator=(ApplicationCore&&) = delete;

    /// Sets the windows of which mainWindow() returns the first that is on the screen. Main thread
    /// only.
    void setWindows(std::vector<Window*> windows) { windows_ = std::move(windows); }

    /// Runs the work for the main thread until the application terminates, without the event loop,
    /// which serves nobody any more from now on. Returns false at once if the event loop is nested
    /// in other work, which could not continue. Main thread only.
    bool runWithoutEventLoop();

    /// Sets what returns the process's exit status if terminate() is called while somebody waits in
    /// handleNextEvent(), from where there is no way back; EXIT_SUCCESS unless set. Main thread
    /// only.
    void setExitStatus(std::function<int()> exitStatus) { exitStatus_ = std::move(exitStatus); }

    bool isMainThread() final;
    void performOnMainThread(std::function<void()> work, Wait wait) final;
    void handleNextEvent(std::chrono::milliseconds deadline) final;
    void terminate() final;
    int addTerminationObserver(std::function<void()> observer) final;
    void removeTerminationObserver(int observer) final;
    Window* mainWindow() final;

protected:
    /// Makes the calling thread the main thread.
    ApplicationCore();

    /// Returns whether terminate() was called. Main thread only.
    bool isTerminated() const { return terminated_; }

    /// Runs the oldest pending work. Main thread only, once for each ring().
    void performNextJob();

    /// Runs the termination observers that have not run yet. Main thread only.
    void runTerminationObservers();

    /// Drops all work, now and from now on: the event loop has ended for good. Main thread only.
    void dropWork();

private:
    class Job;

    /// Makes the event loop, nested or not, call performNextJob(). Any thread.
    virtual void ring() = 0;

    /// Dispatches the next event, waiting at most `deadline` for one. Main thread.
    virtual void dispatchNextEvent(std::chrono::milliseconds deadline) = 0;

    /// Makes the outermost event loop end. Main thread.
    virtual void leaveEventLoop() = 0;

    void enqueue(std::shared_ptr<Job> job);
    void performNextJobWithin(std::chrono::milliseconds deadline);

    const std::thread::id mainThread_;
    std::vector<Window*> windows_;
    std::function<int()> exitStatus_ = [] { return EXIT_SUCCESS; };
    int pumps_ = 0;
    bool terminated_ = false;
    bool hasEventLoop_ = true;

    std::mutex mutex_;
    bool isOpen_ = true;
    std::deque<std::shared_ptr<Job>> jobs_;
    std::condition_variable enqueued_;
    std::map<int, std::function<void()>> observers_;
    int lastObserver_ = 0;
};

} // namespace qf
