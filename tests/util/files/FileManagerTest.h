#pragma once

#include "platform/Application.h"
#include "platform/linux/SystemInformation.h"
#include "tests/support/DescribedMachine.h"
#include "tests/support/PausingClock.h"
#include "util/files/QFFileManager.h"

#include <chrono>
#include <functional>
#include <optional>
#include <vector>

/// An application whose main thread is the test's. No event ever comes.
class PumpingApplication : public platform::Application {
public:
    explicit PumpingApplication(PausingClock& clock) : clock_(clock) {}

    /// The deadline of every event that was waited for.
    std::vector<std::chrono::milliseconds> deadlines;

    bool isMainThread() override;
    void performOnMainThread(std::function<void()> work, platform::Wait wait) override;
    void handleNextEvent(std::chrono::milliseconds deadline) override;
    void terminate() override;
    int addTerminationObserver(std::function<void()> observer) override;
    void removeTerminationObserver(int observer) override;
    platform::Window* mainWindow() override;

private:
    PausingClock& clock_;
};

/// A described machine whose time passes only in pauses. The test's thread is no main thread,
/// unless it becomes one.
class FileManagerTest : public DescribedMachine {
protected:
    using Rests = std::vector<std::chrono::microseconds>;
    using Deadlines = std::vector<std::chrono::milliseconds>;

    FileManagerTest();
    ~FileManagerTest() override;

    void becomeMainThread();

    void refuseTheRight();

    PausingClock pauses;
    PumpingApplication application{pauses};

private:
    platform::native::SystemInformation systemInformation_;
    platform::ScopedService<platform::SystemInformation> systemInformationScope_{
        systemInformation_};
    platform::ScopedService<platform::Clock> pausesScope_{pauses};
    std::optional<platform::ScopedService<platform::Application>> applicationScope_;
};
