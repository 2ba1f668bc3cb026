#include "tests/util/task/TaskTest.h"
#include "util/task/QFTaskEx.h"

#include "platform/Services.h"
#include "tests/support/NoThreadsLeft.h"
#include "tests/support/PausingClock.h"
#include "tests/support/ScopedAbsence.h"
#include "util/log/QFLog.h"

#include <csignal>
#include <filesystem>
#include <future>
#include <latch>
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

    /// Makes a call whose time is up at once, but has that acted on only when the child has made
    /// the file "ready".
    template <class Call>
    auto timedOutOnceReady(Call call) {
        const BusyMainThread busy;
        ++performedBefore_;
        auto result = std::async(std::launch::async, call);
        EXPECT_TRUE(waitForFile("ready"));
        return result;
    }
    /// The same with what the child of a shell script has written by its end.
    std::future<std::string> outputTimedOutOnceReady(const std::string& text) {
        return timedOutOnceReady([text] {
            return TaskTest::text(QFTaskEx::dataFromTask(shell, script(text), Timeout(0)));
        });
    }

    /// A script's text that lets the time-out be acted on.
    std::string tellReady() const { return ": > '" + file("ready") + "'"; }

    const std::shared_ptr<QFTaskEx> runner_ = QFTaskEx::create();

private:
    int performedBefore_;
};

class TimedTaskShorterThanASecond : public TimedTask, public testing::WithParamInterface<double> {};

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
    auto output =
        outputTimedOutOnceReady("echo early; " + tellReady() + "; " + gate() + "; echo late");
    EXPECT_EQ(output.get(), "early\n");
}

TEST_F(TimedTask, GivesTheStatusOfTheTerminatedChild) {
    EXPECT_EQ(QFTaskEx::terminationCodeFromTask(shell, script(gate()), 0), SIGTERM);
    auto status = timedOutOnceReady([this] {
        return runner_->terminationCodeFromTaskOnRunner(
            shell,
            script("trap 'exit 42' TERM; " + tellReady() + "; while :; do " + gate() + "; done"),
            0);
    });
    EXPECT_EQ(status.get(), 42);
    EXPECT_EQ(loggedLines(), Lines(2, timedOut));
}

TEST_F(TimedTask, ActsOnTheMainThreadOnly) {
    std::future<std::optional<platform::Data>> data;
    {
        const BusyMainThread busy;
        data = std::async(std::launch::async, [&] {
            return runner_->dataFromTaskOnRunner(shell, script(gate()), Timeout(0));
        });
        EXPECT_TRUE(eventually(
            [&] { return runner_->theTask() != nullptr && runner_->theTask()->isRunning(); }));
        EXPECT_TRUE(loggedLines().empty());
        EXPECT_EQ(data.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    }
    EXPECT_TRUE(data.get().has_value());
    EXPECT_EQ(loggedLines(), Lines{timedOut});
}

TEST_F(TimedTask, SleepsItsWholeIntervalEvenWhenTheChildHasEndedLongBefore) {
    PausingClock clock(PausingClock::Pauses::ofEveryThread);
    const platform::ScopedService<platform::Clock> scope(clock);
    std::latch wake(1);
    clock.meanwhile = [&wake] { wake.wait(); };
    auto runner = QFTaskEx::create();
    const std::weak_ptr<QFTaskEx> kept = runner;
    EXPECT_EQ(text(runner->dataFromTaskOnRunner(shell, script("echo out"), 1.9)), "out\n");
    runner.reset();
    EXPECT_FALSE(kept.expired());
    wake.count_down();
    waitForTimeouts(1);
    EXPECT_EQ(clock.rests, std::vector<std::chrono::microseconds>{std::chrono::seconds(1)});
    EXPECT_TRUE(eventually([&] { return kept.expired(); }));
    EXPECT_TRUE(loggedLines().empty());
}

TEST_F(TimedTask, KeepsTheChildInTheRunnerOnlyWhileItRuns) {
    EXPECT_EQ(runner_->theTask(), nullptr);
    auto status = std::async(std::launch::async, [&] {
        return runner_->terminationCodeFromTaskOnRunner(shell, script(gate()), Timeout(600));
    });
    EXPECT_TRUE(eventually(
        [&] { return runner_->theTask() != nullptr && runner_->theTask()->isRunning(); }));
    openGate();
    EXPECT_EQ(status.get(), 0);
    EXPECT_EQ(runner_->theTask(), nullptr);
}

TEST_F(TimedTask, NeverTerminatesAChildWhoseOutputIsDiscarded) {
    auto run = std::async(std::launch::async, [&] {
        QFTaskEx::runTask(shell, script(gate() + "; : > '" + file("survived") + "'"), 0);
    });
    waitForTimeouts(1);
    openGate();
    run.get();
    EXPECT_TRUE(std::filesystem::exists(file("survived")));
    EXPECT_TRUE(loggedLines().empty());
}

TEST_F(TimedTask, NeverHoldsAChildWhoseOutputIsDiscarded) {
    auto run = std::async(std::launch::async, [&] {
        runner_->runTaskOnRunner(shell, script(": > '" + file("ready") + "'; " + gate()), 0);
    });
    EXPECT_TRUE(waitForFile("ready"));
    waitForTimeouts(1);
    EXPECT_EQ(runner_->theTask(), nullptr);
    openGate();
    run.get();
}

TEST_F(TimedTask, WaitsForAChildThatIgnoresTheRequest) {
    auto output =
        outputTimedOutOnceReady("trap '' TERM; " + tellReady() + "; " + gate() + "; echo done");
    waitForTimeouts(1);
    EXPECT_EQ(loggedLines(), Lines{timedOut});
    openGate();
    EXPECT_EQ(output.get(), "done\n");
}

TEST_F(TimedTask, ReachesTheChildsOwnChildrenThatHoldTheOutput) {
    auto output = outputTimedOutOnceReady("sleep 1000 & echo out; " + tellReady() + "; wait");
    EXPECT_EQ(output.get(), "out\n");
}

TEST_F(TimedTask, WaitsForAGrandchildThatLeftTheGroup) {
    auto output = outputTimedOutOnceReady("echo early; setsid sh -c \"" + tellReady() + "; " +
                                          gate() + "; echo late\" & wait");
    waitForTimeouts(1);
    openGate();
    EXPECT_EQ(output.get(), "early\nlate\n");
}

TEST_F(TimedTask, ReachesAChildThatChangedItsGroup) {
    auto status = timedOutOnceReady([this] {
        const std::string script =
            "setpgrp(0, getpgrp(getppid())); open(my $ready, '>', shift); sleep(1000)";
        return QFTaskEx::terminationCodeFromTask(perl, {"-e", script, file("ready")}, 0);
    });
    EXPECT_EQ(status.get(), SIGTERM);
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

TEST_F(TimedTask, RunsNothingWithoutAThreadForTheTimeout) {
    const auto leavesATrace = script(": > '" + file("ran") + "'");
    QFLog::sharedController().writeQueue()->addOperation([] {}); // the log's thread exists already
    {
        const NoThreadsLeft none;
        QFTaskEx::runTask(shell, leavesATrace, 600);
        EXPECT_FALSE(QFTaskEx::dataFromTask(shell, leavesATrace, 600).has_value());
        EXPECT_EQ(QFTaskEx::terminationCodeFromTask(shell, leavesATrace, 600), -1);
    }
    EXPECT_FALSE(std::filesystem::exists(file("ran")));
    EXPECT_EQ(loggedLines(), Lines(3, "Exception in setupTimeout:. NSGenericException - could not "
                                      "start a thread: Resource temporarily unavailable."));
}

TEST_F(TimedTask, TerminateTaskEndsTheCallFromAnotherThread) {
    auto data = std::async(std::launch::async, [&] {
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
                ended += QFTaskEx::terminationCodeFromTask(shell, hanging, 0) == SIGTERM;
            } else {
                ended += QFTaskEx::dataFromTask(shell, hanging, 0).has_value() ? 1 : 0;
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
