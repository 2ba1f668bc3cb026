#pragma once

#include "platform/linux/posix/FileDescriptor.h"
#include "platform/support/ApplicationCore.h"

#include <chrono>
#include <functional>
#include <map>
#include <optional>

namespace platform::terminal {

/// The application on an event loop of its own, which waits for descriptors and the clock.
class Application final : public ApplicationCore {
public:
    /// The calling thread is the main thread from now on.
    Application();

    /// Runs the event loop until the application terminates. Main thread only.
    void run();

    /// Has `ready` called by the event loop whenever there is something to read, until unwatch().
    /// Main thread only.
    void watch(int descriptor, std::function<void()> ready);
    void unwatch(int descriptor);

    /// Has `tick` called by the event loop every `interval`; no `tick` ends that. There is one at a
    /// time. Main thread only.
    void setTick(std::chrono::milliseconds interval, std::function<void()> tick);

private:
    using Clock = std::chrono::steady_clock;

    void ring() override;
    void dispatchNextEvent(std::chrono::milliseconds deadline) override;
    void leaveEventLoop() override {}

    void dispatch(std::optional<std::chrono::milliseconds> deadline);
    std::optional<std::chrono::milliseconds> untilTick() const;
    void tickIfDue();
    void answerBell();

    native::FileDescriptor bell_;
    std::map<int, std::function<void()>> watched_;
    std::chrono::milliseconds interval_{};
    std::function<void()> tick_;
    Clock::time_point nextTick_;
};

} // namespace platform::terminal
