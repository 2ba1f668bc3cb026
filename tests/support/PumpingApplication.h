#pragma once

#include "platform/Application.h"
#include "tests/support/PausingClock.h"

#include <chrono>
#include <functional>
#include <vector>

/// An application whose main thread is the test's. No event ever arrives.
class PumpingApplication : public qf::Application {
public:
    explicit PumpingApplication(PausingClock& clock) : clock_(clock) {}

    /// The deadline of every wait for an event.
    std::vector<std::chrono::milliseconds> deadlines;

    bool isMainThread() override;
    void performOnMainThread(std::function<void()> work, qf::Wait wait) override;
    void handleNextEvent(std::chrono::milliseconds deadline) override;
    void terminate() override;
    int addTerminationObserver(std::function<void()> observer) override;
    void removeTerminationObserver(int observer) override;
    qf::Window* mainWindow() override;

private:
    PausingClock& clock_;
};
