#include "platform/terminal/Application.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <system_error>
#include <utility>
#include <vector>

namespace qf::terminal {

namespace {

using std::chrono::milliseconds;

/// Returns the time-out for poll(), -1 for no limit.
int timeoutOf(std::optional<milliseconds> limit) {
    return limit ? static_cast<int>(std::clamp<milliseconds::rep>(limit->count(), 0, INT_MAX)) : -1;
}

} // namespace

Application::Application() : bell_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK | EFD_SEMAPHORE)) {
    if (!bell_) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
    watch(bell_.get(), [this] { answerBell(); });
}

void Application::run() {
    while (!isTerminated()) {
        dispatch(std::nullopt);
    }
    dropWork();
}

void Application::watch(int descriptor, std::function<void()> ready) {
    watched_[descriptor] = std::move(ready);
}

void Application::unwatch(int descriptor) {
    watched_.erase(descriptor);
}

void Application::setTick(milliseconds interval, std::function<void()> tick) {
    interval_ = interval;
    tick_ = std::move(tick);
    nextTick_ = Clock::now() + interval;
}

void Application::ring() {
    const std::uint64_t once = 1;
    // The counter cannot overflow: each ring is for a piece of work in memory.
    [[maybe_unused]] const auto written = ::write(bell_.get(), &once, sizeof once);
}

void Application::answerBell() {
    std::uint64_t once = 0;
    if (::read(bell_.get(), &once, sizeof once) == sizeof once) {
        performNextJob();
    }
}

void Application::dispatchNextEvent(milliseconds deadline) {
    dispatch(deadline);
}

/// Waits for the watched descriptors and for the next tick, and calls the functions of those that
/// are ready.
void Application::dispatch(std::optional<milliseconds> deadline) {
    std::vector<pollfd> descriptors;
    for (const auto& [descriptor, ready] : watched_) {
        descriptors.push_back({descriptor, POLLIN, 0});
    }
    const auto tick = untilTick();
    const auto limit = deadline && tick ? std::min(*deadline, *tick) : deadline ? deadline : tick;
    if (::poll(descriptors.data(), descriptors.size(), timeoutOf(limit)) > 0) {
        for (const auto& descriptor : descriptors) {
            const auto found = watched_.find(descriptor.fd);
            if (descriptor.revents != 0 && found != watched_.end() && !isTerminated()) {
                // A copy, since the function may end the watch.
                const auto ready = found->second;
                ready();
            }
        }
    }
    tickIfDue();
}

std::optional<milliseconds> Application::untilTick() const {
    if (!tick_) {
        return std::nullopt;
    }
    return std::chrono::ceil<milliseconds>(nextTick_ - Clock::now());
}

void Application::tickIfDue() {
    if (tick_ && Clock::now() >= nextTick_) {
        nextTick_ = Clock::now() + interval_;
        const auto tick = tick_;
        tick();
    }
}

} // namespace qf::terminal
