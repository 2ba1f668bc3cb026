#pragma once

#include "platform/Application.h"

#include <condition_variable>
#include <deque>
#include <functional>
#include <future>
#include <mutex>
#include <thread>

/// A main thread that only runs the work it is given, in order. It lives as long as the process,
/// since detached threads may use it at any time.
class MainLoop : public qf::Application {
public:
    static MainLoop& shared();

    bool isMainThread() override { return std::this_thread::get_id() == mainThread_; }
    void performOnMainThread(std::function<void()> work, qf::Wait wait) override;

    void handleNextEvent(std::chrono::milliseconds /*deadline*/) override {}
    void terminate() override {}
    int addTerminationObserver(std::function<void()> /*observer*/) override { return 0; }
    void removeTerminationObserver(int /*observer*/) override {}
    qf::Window* mainWindow() override { return nullptr; }

    /// Returns the number of pieces of work that the loop has done.
    int performed() const;
    /// Waits until the loop has done that many.
    void waitUntilPerformed(int count) const;

private:
    MainLoop();
    void run();

    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    std::deque<std::function<void()>> work_;
    int performed_ = 0;
    std::thread::id mainThread_;
};

/// Keeps the main thread busy for a scope.
class BusyMainThread {
public:
    BusyMainThread() {
        std::promise<void> begun;
        MainLoop::shared().performOnMainThread(
            [&begun, over = over_.get_future().share()] {
                begun.set_value();
                over.wait();
            },
            qf::Wait::no);
        begun.get_future().wait();
    }
    ~BusyMainThread() { over_.set_value(); }
    BusyMainThread(const BusyMainThread&) = delete;
    BusyMainThread& operator=(const BusyMainThread&) = delete;
    BusyMainThread(BusyMainThread&&) = delete;
    BusyMainThread& operator=(BusyMainThread&&) = delete;

private:
    std::promise<void> over_;
};
