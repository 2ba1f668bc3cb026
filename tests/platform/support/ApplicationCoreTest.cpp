#include "platform/support/ApplicationCore.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>

namespace {

using qf::Wait;

/// An application whose event loop takes its time over a ring: until the loop has ended, or until
/// it is clear that it waits.
class SlowlyRung final : public qf::ApplicationCore {
public:
    void waitUntilRung() { rung_.get_future().wait(); }

    void endEventLoop() {
        dropWork();
        hasEnded_.set_value();
    }

    bool isRinging() const { return isRinging_; }

private:
    void ring() override {
        isRinging_ = true;
        rung_.set_value();
        hasEnded_.get_future().wait_for(std::chrono::milliseconds(200));
        isRinging_ = false;
    }
    void dispatchNextEvent(std::chrono::milliseconds /*deadline*/) override {}
    void leaveEventLoop() override {}

    std::promise<void> rung_;
    std::promise<void> hasEnded_;
    std::atomic<bool> isRinging_ = false;
};

TEST(ApplicationCore, NeverRingsForAnEventLoopThatHasEnded) {
    SlowlyRung application;
    const auto caller = std::async(
        std::launch::async, [&application] { application.performOnMainThread([] {}, Wait::no); });
    application.waitUntilRung();

    application.endEventLoop();

    EXPECT_FALSE(application.isRinging());
}

class Silent final : public qf::ApplicationCore {
public:
    using ApplicationCore::dropWork;

private:
    void ring() override {}
    void dispatchNextEvent(std::chrono::milliseconds /*deadline*/) override {}
    void leaveEventLoop() override {}
};

TEST(ApplicationCore, DoesOtherWorkWhileWorkWaitsWithoutAnEventLoop) {
    Silent application;
    bool isDone = false;
    application.performOnMainThread(
        [&] {
            application.performOnMainThread([&isDone] { isDone = true; }, Wait::no);
            application.handleNextEvent(std::chrono::minutes(1));
            EXPECT_TRUE(isDone);
            application.performOnMainThread([&application] { application.terminate(); }, Wait::no);
        },
        Wait::no);

    EXPECT_TRUE(application.runWithoutEventLoop());
}

TEST(ApplicationCore, ReleasesTheWorkThatItDrops) {
    Silent application;
    auto needed = std::make_shared<int>();
    const std::weak_ptr watched = needed;
    application.performOnMainThread([needed = std::move(needed)] {}, Wait::no);
    ASSERT_FALSE(watched.expired());

    application.dropWork();

    EXPECT_TRUE(watched.expired());
}

} // namespace
