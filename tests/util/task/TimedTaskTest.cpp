#include "tests/util/task/TaskTest.h"
#include "util/task/QFTaskEx.h"

#include "platform/Services.h"
#include "tests/support/ScopedAbsence.h"

#include <csignal>
#include <filesystem>
#include <future>
#include <limits>

namespace {

using Lines = std::vector<std::string>;
using platform::Timeout;

const std::string timedOut = "Task /bin/sh timed out. Terminating...";

class TimedTask : public TaskTest {
protected:
    TimedTask() : performedBefore_(MainLoop::shared().performed()) {}

    /// Returns when the time-outs of so many calls of this test have been acted on.
    void waitForTimeouts(int count) const {
        MainLoop::shared().waitUntilPerformed(performedBefore_ + count);
    }

    const std::shared_ptr<QFTaskEx> runner_ = QFTaskEx::create();

private:
    const int performedBefore_;
};

class TimedTaskShorterThanASecond : public TimedTask, public testing::WithParamInterface<double> {};

/// Keeps the main thread busy for a scope.
class BusyMainThread {
public:
    BusyMainThread() {
        std::promise<void> begun;
        MainLoop::shared().performOnMainThread(
            [&begun, over = over_.get_future().share()] {
                begun.set_value();
                over.wait();
            },
            platform::Wait::no);
        begun.get_future().wait();
    }
    ~BusyMainThread() { over_.set_value(); }
    BusyMainThread(const BusyMainThread&) = delete;
    BusyMainThread& operator=(const BusyMainThread&) = delete;
    BusyMainThread(BusyMainThread&&) = delete;
    BusyMainThread& operator=(BusyMainThread&&) = delete;

private:
    std::promise<void> over_;
};

TEST_P(TimedTaskShorterThanASecond, TerminatesTheChildAtOnceAndSaysSo) {
    const auto data = QFTaskEx::dataFromTask(shell, script(gate()), Timeout(GetParam()));
    ASSERT_TRUE(data.has_value());
    EXPECT_TRUE(data->bytes.empty());
    EXPECT_EQ(loggedLines(), Lines{timedOut});
    EXPECT_EQ(printed(), timedOut + "\n");
    waitForTimeouts(1);
}

INSTANTIATE_TEST_SUITE_P(Values, TimedTaskShorterThanASecond,
                         testing::Values(0.0, 0.9, -0.0, -5.0, -1e300,
                                         -std::numeric_limits<double>::infinity(),
                                         std::numeric_limits<double>::quiet_NaN(),
                                         std::numeric_limits<double>::denorm_min()));

TEST_F(TimedTask, LetsTheChildEndByItselfUnderAnEndlessTimeout) {
    for (const double seconds : {1e300, std::numeric_limits<double>::infinity(), 1e19}) {
        EXPECT_EQ(text(QFTaskEx::dataFromTask(shell, script("echo out"), Timeout(seconds))),
                  "out\n");
    }
    EXPECT_TRUE(loggedLines().empty());
}

TEST_F(TimedTask, EveryDataMemberTerminatesTheChild) {
    const auto hanging = script(gate());
    EXPECT_TRUE(QFTaskEx::dataFromTask(shell, hanging, 0, LogOutput::yes, LogError::no));
    EXPECT_TRUE(runner_->dataFromTaskOnRunner(shell, hanging, 0));
    EXPECT_TRUE(
        QFTaskEx::create()->dataFromTaskOnRunner(shell, hanging, 0, LogOutput::no, LogError::yes));
    EXPECT_EQ(QFTaskEx::stringFromTask(shell, hanging, 0), "");
    EXPECT_EQ(loggedLines(), Lines(4, timedOut));
    waitForTimeouts(4);
}

TEST_F(TimedTask, FlagsAreHandedOn) {
    const auto both = script("echo out; echo wrong >&2");
    const Timeout enough(600);
    EXPECT_EQ(text(QFTaskEx::dataFromTask(shell, both, enough)), "out\n");
    EXPECT_EQ(text(QFTaskEx::dataFromTask(shell, both, enough, LogOutput::no, LogError::yes)),
              "wrong\n");
    EXPECT_EQ(text(runner_->dataFromTaskOnRunner(shell, script("echo wrong >&2"), enough)),
              "wrong\n");
}

TEST_F(TimedTask, GivesWhatArrivedBeforeTheTermination) {
    auto data = std::async([&] {
        return text(QFTaskEx::dataFromTask(
            shell, script("echo early; : > '" + file("written") + "'; " + gate() + "; echo late"),
            1));
    });
    EXPECT_TRUE(waitForFile("written"));
    EXPECT_EQ(data.get(), "early\n");
}

TEST_F(TimedTask, GivesTheStatusOfTheTerminatedChild) {
    EXPECT_EQ(QFTaskEx::terminationCodeFromTask(shell, script(gate()), 0), SIGTERM);
    EXPECT_EQ(runner_->terminationCodeFromTaskOnRunner(shell,
                                                       script("trap 'exit 42' TERM; : > '" +
                                                              file("ready") + "'; while :; do " +
                                                              gate() + "; done"),
                                                       1),
              42);
    EXPECT_EQ(loggedLines(), Lines(2, timedOut));
}

TEST_F(TimedTask, ActsOnTheMainThreadOnly) {
    std::future<std::optional<platform::Data>> data;
    {
        const BusyMainThread busy;
        data = std::async(
            [&] { return runner_->dataFromTaskOnRunner(shell, script(gate()), Timeout(0)); });
        EXPECT_TRUE(eventually(
            [&] { return runner_->theTask() != nullptr && runner_->theTask()->isRunning(); }));
        EXPECT_TRUE(loggedLines().empty());
        EXPECT_EQ(data.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    }
    EXPECT_TRUE(data.get().has_value());
    EXPECT_EQ(loggedLines(), Lines{timedOut});
}

TEST_F(TimedTask, SleepsItsWholeIntervalEvenWhenTheChildHasEndedLongBefore) {
    const auto start = std::chrono::steady_clock::now();
    auto runner = QFTaskEx::create();
    const std::weak_ptr<QFTaskEx> kept = runner;
    EXPECT_EQ(text(runner->dataFromTaskOnRunner(shell, script("echo out"), 1.9)), "out\n");
    runner.reset();
    EXPECT_FALSE(kept.expired());
    waitForTimeouts(1);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
    EXPECT_TRUE(eventually([&] { return kept.expired(); }));
    EXPECT_TRUE(loggedLines().empty());
}

TEST_F(TimedTask, KeepsTheChildInTheRunnerOnlyWhileItRuns) {
    EXPECT_EQ(runner_->theTask(), nullptr);
    auto status = std::async([&] {
        return runner_->terminationCodeFromTaskOnRunner(shell, script(gate()), Timeout(600));
    });
    EXPECT_TRUE(eventually(
        [&] { return runner_->theTask() != nullptr && runner_->theTask()->isRunning(); }));
    openGate();
    EXPECT_EQ(status.get(), 0);
    EXPECT_EQ(runner_->theTask(), nullptr);
}

TEST_F(TimedTask, NeverTerminatesAChildWhoseOutputIsDiscarded) {
    auto run = std::async(
        [&] { QFTaskEx::runTask(shell, script(gate() + "; : > '" + file("survived") + "'"), 0); });
    waitForTimeouts(1);
    openGate();
    run.get();
    EXPECT_TRUE(std::filesystem::exists(file("survived")));
    EXPECT_TRUE(loggedLines().empty());
}

TEST_F(TimedTask, NeverHoldsAChildWhoseOutputIsDiscarded) {
    auto run = std::async([&] {
        runner_->runTaskOnRunner(shell, script(": > '" + file("ready") + "'; " + gate()), 0);
    });
    EXPECT_TRUE(waitForFile("ready"));
    waitForTimeouts(1);
    EXPECT_EQ(runner_->theTask(), nullptr);
    openGate();
    run.get();
}

TEST_F(TimedTask, WaitsForAChildThatIgnoresTheRequest) {
    auto data = std::async([&] {
        return text(QFTaskEx::dataFromTask(
            shell, script("trap '' TERM; : > '" + file("ready") + "'; " + gate() + "; echo done"),
            1));
    });
    EXPECT_TRUE(waitForFile("ready"));
    waitForTimeouts(1);
    EXPECT_EQ(loggedLines(), Lines{timedOut});
    openGate();
    EXPECT_EQ(data.get(), "done\n");
}

TEST_F(TimedTask, ReachesTheChildsOwnChildrenThatHoldTheOutput) {
    EXPECT_EQ(text(QFTaskEx::dataFromTask(shell, script("sleep 1000 & echo out; wait"), 1)),
              "out\n");
}

TEST_F(TimedTask, WaitsForAGrandchildThatLeftTheGroup) {
    auto data = std::async([&] {
        return text(QFTaskEx::dataFromTask(shell,
                                           script("setsid sh -c \": > '" + file("ready") + "'; " +
                                                  gate() + "; echo late\" & echo early; wait"),
                                           1));
    });
    EXPECT_TRUE(waitForFile("ready"));
    waitForTimeouts(1);
    openGate();
    EXPECT_EQ(data.get(), "early\nlate\n");
}

TEST_F(TimedTask, ReachesAChildThatChangedItsGroup) {
    const std::string perl = "/usr/bin/perl";
    EXPECT_EQ(QFTaskEx::terminationCodeFromTask(
                  perl, {"-e", "setpgrp(0, getpgrp(getppid())); sleep(1000)"}, 1),
              SIGTERM);
}

TEST_F(TimedTask, IsSilentAboutARefusedPath) {
    EXPECT_EQ(QFTaskEx::terminationCodeFromTask(file("missing"), {}, 0), -1);
    EXPECT_FALSE(QFTaskEx::dataFromTask(file("missing"), {}, 0).has_value());
    QFTaskEx::runTask(file("missing"), {}, 0);
    waitForTimeouts(3);
    EXPECT_EQ(loggedLines(), Lines(3, "Error: " + file("missing") + " is not executable"));
}

TEST_F(TimedTask, DoesNothingWhenTheTimeoutFindsNoChild) {
    runner_->timeout();
    runner_->setupTimeout(std::chrono::seconds(0));
    waitForTimeouts(1);
    EXPECT_TRUE(loggedLines().empty());
}

TEST_F(TimedTask, HasNoTimeoutWithoutAnApplication) {
    const ScopedAbsence<platform::Application> none;
    runner_->setupTimeout(std::chrono::seconds(0));
    EXPECT_TRUE(loggedLines().empty());
}

TEST_F(TimedTask, TerminateTaskEndsTheCallFromAnotherThread) {
    auto data = std::async([&] {
        return text(
            runner_->dataFromTaskOnRunner(shell, script("echo out; " + gate()), Timeout(600)));
    });
    EXPECT_TRUE(eventually(
        [&] { return runner_->theTask() != nullptr && runner_->theTask()->isRunning(); }));
    const auto child = runner_->theTask();
    runner_->terminateTask();
    EXPECT_EQ(runner_->theTask(), nullptr);
    data.get();
    child->waitUntilExit();
    EXPECT_EQ(child->terminationStatus(), SIGTERM);
    EXPECT_TRUE(loggedLines().empty());
}

TEST_F(TimedTask, TerminateTaskDoesNothingWithoutAChild) {
    runner_->terminateTask();
    EXPECT_EQ(runner_->theTask(), nullptr);
    EXPECT_TRUE(loggedLines().empty());
}

TEST_F(TimedTask, TwoHundredAtOnceAllEnd) {
    constexpr int count = 200;
    const auto hanging = script(gate());
    std::vector<std::thread> callers;
    std::atomic<int> ended{0};
    for (int index = 0; index < count; ++index) {
        callers.emplace_back([&, index] {
            if (index % 2 == 0) {
                ended += QFTaskEx::terminationCodeFromTask(shell, hanging, index % 3) == SIGTERM;
            } else {
                ended += QFTaskEx::dataFromTask(shell, hanging, index % 3).has_value() ? 1 : 0;
            }
        });
    }
    for (auto& caller : callers) {
        caller.join();
    }
    EXPECT_EQ(ended, count);
    EXPECT_EQ(loggedLines(), Lines(count, timedOut));
    EXPECT_TRUE(eventually([] { return zombies() == 0; }));
}

} // namespace
