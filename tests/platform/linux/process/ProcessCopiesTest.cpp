#include "platform/linux/process/ProcessCopies.h"

#include "tests/platform/linux/process/ForkedProcess.h"

#include <gtest/gtest.h>

#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

using Events = std::vector<std::string>;

/// Observers stay for good: what they write into stays as well, and each test has its own.
class ProcessCopiesTest : public testing::Test {
protected:
    void observe(const std::string& name = "") {
        const auto note = [events = events_](const std::string& event) {
            return [=] { events->push_back(event); };
        };
        copies_.observe(note("before" + name), note("original" + name), note("copy" + name));
    }

    const std::shared_ptr<Events> events_ = std::make_shared<Events>();
    qf::native::ProcessCopies copies_;
};

TEST_F(ProcessCopiesTest, TellsBeforeTheCopyingAndThenBoth) {
    observe();

    const auto copy = forked([this] { return *events_ == Events{"before", "copy"} ? 0 : 1; });

    EXPECT_EQ(*events_, (Events{"before", "original"}));
    EXPECT_EQ(exitStatusOf(copy), 0);
}

TEST_F(ProcessCopiesTest, TellsEveryObserver) {
    observe("1");
    observe("2");

    const auto copy = forked([this] {
        return *events_ == Events{"before1", "before2", "copy1", "copy2"} ? 0 : 1;
    });

    EXPECT_EQ(*events_, (Events{"before1", "before2", "original1", "original2"}));
    EXPECT_EQ(exitStatusOf(copy), 0);
}

TEST_F(ProcessCopiesTest, TellsOnTheThreadThatCopies) {
    const auto thread = std::make_shared<std::thread::id>();
    const auto note = [thread] { *thread = std::this_thread::get_id(); };
    copies_.observe(
        note, [] {}, [] {});

    std::async(std::launch::async, [&] {
        EXPECT_EQ(exitStatusOf(forked([] { return 0; })), 0);
        EXPECT_EQ(*thread, std::this_thread::get_id());
    }).get();
}

TEST_F(ProcessCopiesTest, TellsOfCopiesOfCopiesAndTakesObserversThere) {
    const auto copy = forked([this] {
        ::alarm(60); // ends it if an observer cannot be added
        observe();
        return exitStatusOf(forked([this] {
            return *events_ == Events{"before", "copy"} ? 0 : 1;
        }));
    });

    EXPECT_EQ(exitStatusOf(copy), 0);
}

} // namespace
