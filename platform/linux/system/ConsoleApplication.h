#pragma once

#include "platform/support/ApplicationCore.h"

#include <condition_variable>
#include <cstddef>
#include <mutex>

namespace qf::native {

/// The application of a program without windows: its event loop waits for work for the main thread.
class ConsoleApplication final : public ApplicationCore {
public:
    /// Makes the calling thread the main thread.
    ConsoleApplication() = default;

    /// Runs the event loop until the application terminates. Main thread only.
    void run();

private:
    void ring() override;
    void dispatchNextEvent(std::chrono::milliseconds deadline) override;
    void leaveEventLoop() override {}

    bool takeRing(std::chrono::milliseconds deadline);

    std::mutex mutex_;
    std::condition_variable rang_;
    std::size_t rings_ = 0;
};

} // namespace qf::native
