#include "platform/linux/system/ConsoleApplication.h"

#include "platform/Services.h"
#include "platform/StartUp.h"
#include "platform/foundation/Thread.h"

#include <atomic>
#include <cstdlib>
#include <memory>

namespace qf {

namespace native {

void ConsoleApplication::run() {
    // Work wakes the loop, so how long it sleeps makes no difference.
    constexpr std::chrono::milliseconds longest(60'000);
    while (!isTerminated()) {
        dispatchNextEvent(longest);
    }
    dropWork();
}

void ConsoleApplication::ring() {
    const std::lock_guard lock(mutex_);
    ++rings_;
    rang_.notify_one();
}

bool ConsoleApplication::takeRing(std::chrono::milliseconds deadline) {
    std::unique_lock lock(mutex_);
    if (!rang_.wait_for(lock, deadline, [this] { return rings_ > 0; })) {
        return false;
    }
    --rings_;
    return true;
}

void ConsoleApplication::dispatchNextEvent(std::chrono::milliseconds deadline) {
    if (takeRing(deadline)) {
        performNextJob();
    }
}

} // namespace native

int consoleMain(const std::function<int()>& body) {
    // Never destroyed: the thread may still call it when the event loop has ended.
    static auto& application = *new native::ConsoleApplication;
    install<Application>(application);
    const auto status = std::make_shared<std::atomic<int>>(EXIT_SUCCESS);
    detachNewThread([body, status] {
        *status = body();
        application.performOnMainThread([] { application.terminate(); }, Wait::no);
    });
    application.run();
    return *status;
}

} // namespace qf
