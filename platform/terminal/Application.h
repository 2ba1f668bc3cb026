#pragma once

#include "platform/linux/posix/FileDescriptor.h"
#include "platform/support/ApplicationCore.h"

#include <chrono>
#include <functional>
#include <map>
#include <optional>

namespace qf::terminal {

/// The application on its own event loop, which waits for descriptors and the clock.
class Application final : public ApplicationCore {
public:
    /// Makes the calling thread the main thread.
    Application();

    /// Runs the event loop until the application terminates. Main thread only.
    void run();

    /// Makes the event loop call `ready` whenever there is something to read, until unwatch(). Main
    /// thread only.
    void watch(int descriptor, std::function<void()> ready);
    void unwatch(int descriptor);

    /// Makes the event loop call `tick` every `interval`, in place of any former tick; an empty
    /// `tick` stops that. Main thread only.
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

} // namespace qf::terminal
