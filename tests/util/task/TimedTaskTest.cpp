#include "tests/support/NamedCase.h"
#include "tests/util/task/TaskTest.h"
#include "util/task/QFTaskEx.h"

#include "platform/Services.h"
#include "tests/support/NoThreadsLeft.h"
#include "tests/support/ScopedAbsence.h"
#include "tests/support/ScopedEnvironment.h"
#include "util/log/QFLog.h"

#include <array>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <future>
#include <limits>

namespace {

using Lines = std::vector<std::string>;
using qf::Timeout;

const std::string timedOut = "Task /bin/sh timed out. Terminating...";

class TimedTask : public TaskTest {
protected:
    TimedTask() : performedBefore_(MainLoop::shared().performed()) {}

    /// Returns once the time-outs of so many calls of this test have been handled.
    void waitForTimeouts(int count) const {
        MainLoop::shared().waitUntilPerformed(performedBefore_ + count);
    }

    /// Makes a call whose time-out expires at once, but is handled only once the child has created
    /// the file "ready".
    template <class Call>
    auto timedOutOnceReady(Call call) {
        const BusyMainThread busy;
        ++performedBefore_;
        auto result = std::async(std::launch::async, call);
        EXPECT_TRUE(waitForFile("ready"));
        return result;
    }
    /// Does the same and returns what the child of a shell script has written by its end.
    std::future<std::string> outputTimedOutOnceReady(const std::string& text) {
        return timedOutOnceReady([text] {
            return TaskTest::text(QFTaskEx::dataFromTask(shell, script(text), Timeout(0)));
        });
    }

    /// Returns a script's text that lets the time-out be handled.
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

class TimedTaskWithoutEnd : public TimedTask,
                            public testing::WithParamInterface<NamedValue<double>> {};

TEST_P(TimedTaskWithoutEnd, LetsTheChildEndByItself) {
    EXPECT_EQ(text(QFTaskEx::dataFromTask(shell, script("echo out"), Timeout(GetParam().value))),
              "out\n");
    EXPECT_TRUE(loggedLines().empty());
}

INSTANTIATE_TEST_SUITE_P(, TimedTaskWithoutEnd,
                         testing::Values(NamedValue<double>{{"BeyondEveryNumber"}, 1e300},
                                         NamedValue<double>{
                                             {"Infinite"}, std::numeric_limits<double>::infinity()},
                                         NamedValue<double>{{"BeyondNanoseconds"}, 1e19}),
                         nameOfCase);

TEST_F(TimedTask, EveryDataMemberTerminatesTheChild) {
    const auto hanging = script(gate());
    EXPECT_TRUE(QFTaskEx::dataFromTask(shell, hanging, 0, qf::LogOutput::yes, qf::LogError::no));
    EXPECT_TRUE(runner_->dataFromTaskOnRunner(shell, hanging, 0));
    EXPECT_TRUE(QFTaskEx::create()->dataFromTaskOnRunner(shell, hanging, 0, qf::LogOutput::no,
                                                         qf::LogError::yes));
    EXPECT_EQ(QFTaskEx::stringFromTask(shell, hanging, 0), "");
    EXPECT_EQ(loggedLines(), Lines(4, timedOut));
    waitForTimeouts(4);
}

TEST_F(TimedTask, FlagsAreHandedOn) {
    const auto both = script("echo out; echo wrong >&2");
    const Timeout enough(600);
    EXPECT_EQ(text(QFTaskEx::dataFromTask(shell, both, enough)), "out\n");
    EXPECT_EQ(
        text(QFTaskEx::dataFromTask(shell, both, enough, qf::LogOutput::no, qf::LogError::yes)),
        "wrong\n");
    EXPECT_EQ(text(runner_->dataFromTaskOnRunner(shell, script("echo wrong >&2"), enough)),
              "wrong\n");
}

TEST_F(TimedTask, ReturnsWhatArrivedBeforeTheTermination) {
    auto output =
        outputTimedOutOnceReady("echo early; " + tellReady() + "; " + gate() + "; echo late");
    EXPECT_EQ(output.get(), "early\n");
}

TEST_F(TimedTask, ReturnsTheStatusOfTheTerminatedChild) {
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
    std::future<std::optional<qf::Data>> data;
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

TEST_F(TimedTask, KeepsTheRunnerForTheWholeIntervalEvenWhenTheChildHasEndedLongBefore) {
    const auto begin = std::chrono::steady_clock::now();
    auto runner = QFTaskEx::create();
    const std::weak_ptr<QFTaskEx> kept = runner;
    EXPECT_EQ(text(runner->dataFromTaskOnRunner(shell, script("echo out"), 1.9)), "out\n");
    runner.reset();
    EXPECT_TRUE(eventually([&] { return kept.expired(); }));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::seconds(1));
    waitForTimeouts(1);
    EXPECT_TRUE(loggedLines().empty());
}

TEST_F(TimedTask, NeedsNoThreadOfItsOwn) {
    const auto threads = [] {
        const std::filesystem::directory_iterator all("/proc/self/task");
        return std::distance(begin(all), end(all));
    };
    EXPECT_EQ(QFTaskEx::terminationCodeFromTask(shell, script("exit 2"), 600), 2);
    const auto before = threads();
    for (int count = 0; count < 50; ++count) {
        EXPECT_EQ(QFTaskEx::terminationCodeFromTask(shell, script("exit 2"), 600), 2);
    }
    EXPECT_EQ(threads(), before);
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

TEST_F(TimedTask, DoesNotWaitForAGrandchildThatLeftTheGroup) {
    auto output = outputTimedOutOnceReady("echo early; setsid sh -c \"" + tellReady() + "; " +
                                          gate() + "; echo late\" & wait");
    EXPECT_EQ(output.get(), "early\n");
    openGate();
    EXPECT_EQ(loggedLines(), Lines{timedOut});
}

TEST_F(TimedTask, DoesNotWaitForAGrandchildThatOutlivesTheChild) {
    std::future<std::string> output;
    {
        const BusyMainThread busy;
        output = std::async(std::launch::async, [this] {
            return text(runner_->dataFromTaskOnRunner(
                shell, script("echo early; (" + gate() + "; echo late) &"), 0));
        });
        EXPECT_TRUE(eventually([this] {
            const auto child = runner_->theTask();
            return child != nullptr && child->isLaunched() && !child->isRunning();
        }));
        EXPECT_EQ(output.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    }
    EXPECT_EQ(output.get(), "early\n");
    openGate();
    EXPECT_TRUE(loggedLines().empty());
}

TEST_F(TimedTask, ReachesAStoppedChild) {
    EXPECT_EQ(QFTaskEx::terminationCodeFromTask(shell, script("kill -STOP $$"), 0), SIGTERM);
    EXPECT_EQ(loggedLines(), Lines{timedOut});
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

TEST_F(TimedTask, TerminatesTheChildWithoutAnApplicationToo) {
    const ScopedAbsence<qf::Application> none;
    EXPECT_EQ(QFTaskEx::terminationCodeFromTask(shell, script(gate()), 0), SIGTERM);
    EXPECT_EQ(loggedLines(), Lines(1, timedOut));
}

TEST_F(TimedTask, TimesOutOnTheCallingThreadWithoutAnApplication) {
    auto status = std::async(std::launch::async, [this] {
        return runner_->terminationCodeFromTaskOnRunner(shell, script(tellReady() + "; " + gate()),
                                                        Timeout(600));
    });
    ASSERT_TRUE(waitForFile("ready"));
    const ScopedAbsence<qf::Application> none;
    runner_->setupTimeout(std::chrono::seconds(0));
    EXPECT_EQ(status.get(), SIGTERM);
    EXPECT_EQ(loggedLines(), Lines(1, timedOut));
}

TEST_F(TimedTask, RunsNothingWithoutAThreadForTheTimeout) {
    const auto leavesATrace = script(": > '" + file("ran") + "'");
    // In a separate process that has not had a time-out yet.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            QFLog::sharedController().writeQueue()->addOperation([] {}); // starts the log's thread
            {
                const NoThreadsLeft none;
                QFTaskEx::runTask(shell, leavesATrace, 600);
                EXPECT_FALSE(QFTaskEx::dataFromTask(shell, leavesATrace, 600).has_value());
                EXPECT_EQ(QFTaskEx::terminationCodeFromTask(shell, leavesATrace, 600), -1);
            }
            EXPECT_EQ(loggedLines(),
                      Lines(3, "Exception in setupTimeout:. NSGenericException - could not start a "
                               "thread: Resource temporarily unavailable."));
            std::_Exit(HasFailure() ? 1 : 0);
        },
        testing::ExitedWithCode(0), "");
    EXPECT_FALSE(std::filesystem::exists(file("ran")));
}

namespace {

/// Launches children that only record the calls.
class NotedChild : public qf::ChildProcess {
public:
    explicit NotedChild(std::function<void()> onTerminate) : onTerminate_(std::move(onTerminate)) {}

    long processIdentifier() const override { return 1; }
    bool isRunning() override { return true; }
    void waitUntilExit() override {}
    void terminate() override { onTerminate_(); }
    void kill() override { onTerminate_(); }
    void endOutputWithChild() override {}
    int terminationStatus() override { return 0; }

private:
    std::function<void()> onTerminate_;
};

class NotingLauncher : public qf::ProcessLauncher {
public:
    std::function<void()> onTerminate = [] {};

    bool canLaunch(const std::string& /*path*/) override { return true; }
    std::shared_ptr<qf::Pipe> makePipe() override { return nullptr; }
    std::vector<std::shared_ptr<qf::Pipe>> makePipes(std::size_t count) override {
        return std::vector<std::shared_ptr<qf::Pipe>>(count);
    }
    std::shared_ptr<qf::ChildProcess>
    launch(const qf::ProcessDescription& /*description*/) override {
        return std::make_shared<NotedChild>(onTerminate);
    }
};

/// Returns a launched child that never ends.
std::shared_ptr<qf::Process> endlessTask(NotingLauncher& launcher) {
    const qf::ScopedService<qf::ProcessLauncher> scope(launcher);
    qf::ProcessDescription description;
    description.launchPath = shell;
    auto task = std::make_shared<qf::Process>(std::move(description));
    task->launch();
    return task;
}

} // namespace

TEST_F(TimedTask, SaysThatTheTimeIsUpBeforeItTerminatesTheChild) {
    NotingLauncher launcher;
    Lines atTermination;
    launcher.onTerminate = [&] { atTermination = loggedLines(); };
    runner_->setTheTask(endlessTask(launcher));
    runner_->timeout();
    EXPECT_EQ(atTermination, Lines{timedOut});
    runner_->setTheTask(nullptr);
}

TEST_F(TimedTask, WaitsForTheMainThreadInSetupTimeout) {
    NotingLauncher launcher;
    std::atomic<bool> terminated{false};
    launcher.onTerminate = [&] { terminated = true; };
    runner_->setTheTask(endlessTask(launcher));
    std::future<bool> over;
    {
        const BusyMainThread busy;
        over = std::async(std::launch::async, [&] {
            runner_->setupTimeout(std::chrono::seconds(0));
            return terminated.load();
        });
        EXPECT_EQ(over.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    }
    EXPECT_TRUE(over.get());
    runner_->setTheTask(nullptr);
}

/// A run with a time-out of a path.
using TimedRun = NamedValue<void (*)(QFTaskEx&, const std::string& path)>;

class TimedTaskAfterAnother : public TimedTask, public testing::WithParamInterface<TimedRun> {};

TEST_P(TimedTaskAfterAnother, ForgetsTheFormerChildBeforeAnythingElse) {
    NotingLauncher launcher;
    directory_.makeDirectory("a.app");
    std::shared_ptr<qf::Process> meanwhile;
    PackageWorkspace::shared().whenAsked = [&] { meanwhile = runner_->theTask(); };
    const auto former = endlessTask(launcher);
    runner_->setTheTask(former);
    GetParam().value(*runner_, file("a.app"));
    PackageWorkspace::shared().whenAsked = [] {};
    EXPECT_EQ(meanwhile, nullptr);
    EXPECT_EQ(runner_->theTask(), nullptr);
}

INSTANTIATE_TEST_SUITE_P(, TimedTaskAfterAnother,
                         testing::Values(TimedRun{{"ForData"},
                                                  [](QFTaskEx& runner, const std::string& path) {
                                                      runner.dataFromTaskOnRunner(path, {}, 600);
                                                  }},
                                         TimedRun{{"ForTheStatus"},
                                                  [](QFTaskEx& runner, const std::string& path) {
                                                      runner.terminationCodeFromTaskOnRunner(
                                                          path, {}, 600);
                                                  }},
                                         TimedRun{{"Alone"},
                                                  [](QFTaskEx& runner, const std::string& path) {
                                                      runner.runTaskOnRunner(path, {}, 600);
                                                  }}),
                         nameOfCase);

TEST_F(TimedTask, HandsTheProgramsEnvironmentOn) {
    const ScopedEnvironment inherited("QF_TASK_TEST", "inherited");
    const auto variables = text(QFTaskEx::dataFromTask("/usr/bin/env", {}, 600));
    EXPECT_NE(variables.find("QF_TASK_TEST=inherited\n"), std::string::npos);
}

TEST_F(TimedTask, TerminateTaskEndsTheCallFromAnotherThread) {
    auto data = std::async(std::launch::async, [&] {
        return text(runner_->dataFromTaskOnRunner(
            shell, script("echo out; > '" + file("begun") + "'; " + gate()), Timeout(600)));
    });
    // A child that is still writing would be ended by the closed pipe.
    EXPECT_TRUE(waitForFile("begun"));
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
