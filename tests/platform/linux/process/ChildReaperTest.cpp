#include "platform/linux/process/ChildReaper.h"

#include "tests/platform/linux/process/ForkedProcess.h"
#include "tests/support/ScopedLimit.h"

#include <gtest/gtest.h>

#include <sys/resource.h>

#include <cerrno>
#include <csignal>
#include <future>

using qf::native::Child;
using qf::native::ChildReaper;

namespace {

/// A child that the reaper alone keeps, and a way to wait until it keeps it no longer.
class ReapedChild {
public:
    explicit ReapedChild(pid_t process, bool hasDescriptor = true) : process_(process) {
        std::shared_ptr<Child> child(new Child({}), [dropped = dropped_](const Child* ended) {
            delete ended;
            dropped->set_value();
        });
        child_ = child.get();
        auto place = ChildReaper::placeFor(child);
        auto& reaper = ChildReaper::shared();
        begin(hasDescriptor);
        EXPECT_EQ(child->descriptor() >= 0, hasDescriptor);
        child.reset();
        reaper.watch(std::move(place));
    }

    const Child& child() const { return *child_; }
    void waitUntilDropped() { dropped_->get_future().get(); }

    /// Whether the system has forgotten the process.
    bool isGone() const { return ::kill(process_, 0) != 0 && errno == ESRCH; }

private:
    void begin(bool hasDescriptor) {
        // The sanitizer looks at an object's type through a pipe once, and then remembers it.
        ASSERT_LT(child_->descriptor(), 0);
        if (hasDescriptor) {
            child_->begin(process_);
        } else {
            const ScopedLimit<RLIMIT_NOFILE> limit(0);
            child_->begin(process_);
        }
    }

    pid_t process_;
    std::shared_ptr<std::promise<void>> dropped_ = std::make_shared<std::promise<void>>();
    Child* child_ = nullptr;
};

TEST(ChildReaper, TakesTheStatusOfAChildThatHasEnded) {
    ReapedChild reaped(forked([] { return 0; }));

    reaped.waitUntilDropped();

    EXPECT_TRUE(reaped.isGone());
}

TEST(ChildReaper, TakesTheStatusOfAChildWithoutADescriptor) {
    ReapedChild reaped(forked([] { return 0; }), false);

    reaped.waitUntilDropped();

    EXPECT_TRUE(reaped.isGone());
}

TEST(ChildReaper, KeepsAChildThatRuns) {
    ForkedPipe gate;
    ReapedChild running(forked([&] {
        gate.waitForEnd();
        return 0;
    }));
    ReapedChild(forked([] { return 0; })).waitUntilDropped();
    EXPECT_FALSE(running.isGone());

    gate.writing.reset();
    running.waitUntilDropped();

    EXPECT_TRUE(running.isGone());
}

TEST(ChildReaper, LeavesAChildToACallerThatWaitsForIt) {
    ForkedPipe gate;
    const auto process = forked([&] {
        gate.waitForEnd();
        return 5;
    });
    ReapedChild left(process);

    ChildReaper::shared().leave(left.child());
    left.waitUntilDropped();
    gate.writing.reset();

    EXPECT_EQ(exitStatusOf(process), 5);
}

TEST(ChildReaper, LeavesOtherChildrenAlone) {
    const auto other = forked([] { return 9; });

    ReapedChild(forked([] { return 0; })).waitUntilDropped();

    EXPECT_EQ(exitStatusOf(other), 9);
}

} // namespace
