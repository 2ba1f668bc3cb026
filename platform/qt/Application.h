#pragma once

#include "platform/Application.h"

#include <deque>
#include <exception>
#include <map>
#include <memory>
#include <mutex>
#include <thread>

class QObject;

namespace platform::qt {

/// The application on Qt's event loop.
///
/// It outlives the event loop and every thread that may still call it: start-up never deletes it.
class Application final : public platform::Application {
public:
    /// The calling thread is the main thread from now on; the QApplication exists.
    Application();
    ~Application() override;
    Application(const Application&) = delete;
    Application& operator=(const Application&) = delete;
    Application(Application&&) = delete;
    Application& operator=(Application&&) = delete;

    /// Runs the event loop until the application terminates and gives the exit status. When the
    /// desktop ends the session instead, the observers of termination run all the same. Main thread
    /// only.
    int run();

    /// Lets go of Qt, whose QApplication may be destroyed after it: the event loop has ended for
    /// good. Main thread only.
    void end();

    void setMainWindow(Window* window) { mainWindow_ = window; }

    bool isMainThread() override;
    void performOnMainThread(std::function<void()> work, Wait wait) override;
    void handleNextEvent(std::chrono::milliseconds deadline) override;
    void terminate() override;
    int addTerminationObserver(std::function<void()> observer) override;
    void removeTerminationObserver(int observer) override;
    Window* mainWindow() override;

private:
    class Job;
    class Doorbell;

    void enqueue(std::shared_ptr<Job> job);
    void performNextJob();
    void runTerminationObservers();

    const std::thread::id mainThread_;
    Window* mainWindow_ = nullptr;
    int pumps_ = 0;
    bool terminated_ = false;

    std::mutex mutex_;
    std::unique_ptr<QObject> doorbell_;
    std::deque<std::shared_ptr<Job>> jobs_;
    std::map<int, std::function<void()>> observers_;
    int lastObserver_ = 0;
};

} // namespace platform::qt
