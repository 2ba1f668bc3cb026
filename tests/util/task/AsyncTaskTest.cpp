#include "tests/support/NamedCase.h"
#include "tests/util/task/TaskTest.h"
#include "util/task/QFTaskEx.h"

#include "platform/Services.h"
#include "platform/foundation/Exception.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <csignal>
#include <mutex>

namespace {

using Lines = std::vector<std::string>;
using qf::Data;
using qf::Notification;
using qf::Value;

const std::string printedOperation = "toolPrinted:runner:object:";

/// Remembers every call of one operation.
class Listener : public qf::Delegate {
public:
    explicit Listener(std::string operation = printedOperation)
        : operation_(std::move(operation)) {}

    bool respondsTo(const std::string& selector) const override { return selector == operation_; }

    void perform(const std::string& /*selector*/, const std::vector<Value>& arguments) override {
        if (onCall) {
            onCall(arguments);
        }
        const std::lock_guard lock(mutex_);
        calls_.push_back(arguments);
        // Recorded, not retained, so that a test sees who else keeps the runner.
        runners_.push_back(arguments[1].as<Value::Object>()->get());
        calls_.back()[1] = Value();
        threads_.push_back(std::this_thread::get_id());
        changed_.notify_all();
    }

    /// Returns the calls so far, once the last one had no bytes.
    std::vector<std::vector<Value>> callsToTheEnd() {
        std::unique_lock lock(mutex_);
        changed_.wait(
            lock, [this] { return !calls_.empty() && calls_.back()[0].as<Data>()->bytes.empty(); });
        return calls_;
    }
    std::size_t waitForCalls(std::size_t count) {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this, count] { return calls_.size() >= count; });
        return calls_.size();
    }
    std::size_t callCount() const {
        const std::lock_guard lock(mutex_);
        return calls_.size();
    }
    std::vector<std::thread::id> threads() const {
        const std::lock_guard lock(mutex_);
        return threads_;
    }

    std::vector<const void*> runners() const {
        const std::lock_guard lock(mutex_);
        return runners_;
    }

    std::function<void(const std::vector<Value>&)> onCall;

private:
    const std::string operation_;
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::vector<Value>> calls_;
    std::vector<const void*> runners_;
    std::vector<std::thread::id> threads_;
};

class AsyncTask : public TaskTest {
protected:
    void start(const std::string& path, const qf::TaskArguments& arguments,
               const Value& object = {}) {
        runner_->asyncDataFromTask(path, arguments, listener_, printedOperation, object);
    }
    void start(const std::string& text) { start(shell, script(text)); }

    /// Returns what the delegate has received at the end, without the final empty call.
    std::string delivered() {
        std::string all;
        for (const auto& call : listener_->callsToTheEnd()) {
            all += text(*call[0].as<Data>());
        }
        return all;
    }

    /// Returns once the runner's thread has released the runner.
    void waitForTheThread() const {
        EXPECT_TRUE(eventually([this] { return runner_.use_count() == 1; }));
        if (listener_ != nullptr) {
            listener_->callCount(); // Counts synchronise nothing; the lock does.
        }
    }

    std::shared_ptr<Listener> listener_ = std::make_shared<Listener>();
    std::shared_ptr<QFTaskEx> runner_ = QFTaskEx::create();
};

TEST_F(AsyncTask, HasEmptyPropertiesUntilTheyAreSet) {
    EXPECT_EQ(runner_->theTask(), nullptr);
    EXPECT_EQ(runner_->delegate(), nullptr);
    EXPECT_EQ(runner_->selector(), std::nullopt);
    EXPECT_TRUE(runner_->object().isNone());

    const auto task = std::make_shared<qf::Process>(qf::ProcessDescription());
    runner_->setTheTask(task);
    runner_->setDelegate(listener_);
    runner_->setSelector("operation:");
    runner_->setObject("object");
    EXPECT_EQ(runner_->theTask(), task);
    EXPECT_EQ(runner_->delegate(), listener_);
    EXPECT_EQ(runner_->selector(), "operation:");
    EXPECT_EQ(runner_->object(), Value("object"));
}

TEST_F(AsyncTask, DoesNotKeepItsDelegate) {
    runner_->setDelegate(listener_);
    listener_ = nullptr;
    EXPECT_EQ(runner_->delegate(), nullptr);
}

TEST_F(AsyncTask, HasWhatItWasStartedWithUntilItEnds) {
    start(shell, script(gate()), "object");
    EXPECT_EQ(runner_->theTask()->description().launchPath, shell);
    EXPECT_EQ(runner_->delegate(), listener_);
    EXPECT_EQ(runner_->selector(), printedOperation);
    EXPECT_EQ(runner_->object(), Value("object"));
    runner_->terminateTask();
    EXPECT_EQ(runner_->theTask(), nullptr);
    EXPECT_EQ(runner_->delegate(), nullptr);
    EXPECT_EQ(runner_->selector(), std::nullopt);
    EXPECT_TRUE(runner_->object().isNone());
    waitForTheThread();
}

TEST_F(AsyncTask, RunsATaskThatWasSet) {
    qf::ProcessDescription description;
    description.launchPath = shell;
    description.arguments = {"-c", "echo out"};
    description.standardOutput =
        qf::ChildStream::through(qf::service<qf::ProcessLauncher>().makePipe());
    runner_->setTheTask(std::make_shared<qf::Process>(std::move(description)));
    runner_->setDelegate(listener_);
    runner_->setSelector(printedOperation);
    runner_->launchAsyncTask();
    EXPECT_EQ(delivered(), "out\n");
}

TEST_F(AsyncTask, LogsThatATaskThatWasSetHasNoPipe) {
    qf::ProcessDescription description;
    description.launchPath = "/bin/true";
    const auto task = std::make_shared<qf::Process>(std::move(description));
    runner_->setTheTask(task);
    runner_->launchAsyncTask();
    EXPECT_EQ(loggedLines(), Lines{"Exception: the task's standard output is no pipe"});
    task->waitUntilExit();
}

TEST_F(AsyncTask, ASilentToolYieldsOneCallWithoutBytes) {
    start(":");
    const auto calls = listener_->callsToTheEnd();
    ASSERT_EQ(calls.size(), 1U);
    EXPECT_TRUE(calls[0][0].as<Data>()->bytes.empty());
    waitForTheThread();
    EXPECT_EQ(listener_->callCount(), 1U);
}

TEST_F(AsyncTask, BurstsArriveOneByOneInOrderAndThenTheEnd) {
    start("echo one; " + gate("second") + "; echo two; " + gate("third") + "; echo three");
    EXPECT_EQ(listener_->waitForCalls(1), 1U);
    openGate("second");
    EXPECT_EQ(listener_->waitForCalls(2), 2U);
    openGate("third");
    const auto calls = listener_->callsToTheEnd();
    ASSERT_EQ(calls.size(), 4U);
    EXPECT_EQ(text(*calls[0][0].as<Data>()), "one\n");
    EXPECT_EQ(text(*calls[1][0].as<Data>()), "two\n");
    EXPECT_EQ(text(*calls[2][0].as<Data>()), "three\n");
}

TEST_F(AsyncTask, DeliversMuchOutputWhole) {
    start("head -c 3000000 /dev/zero; echo end");
    const auto all = delivered();
    EXPECT_EQ(all.size(), 3000004U);
    EXPECT_TRUE(all.ends_with("end\n"));
}

TEST_F(AsyncTask, NeverDeliversErrors) {
    start("echo wrong >&2; readlink /proc/$$/fd/2");
    EXPECT_EQ(delivered(), "/dev/null\n");
}

TEST_F(AsyncTask, LeavesTheInputTheProgramsOwn) {
    start("readlink /proc/$$/fd/0");
    EXPECT_EQ(delivered(), ownStream(0) + "\n");
}

TEST_F(AsyncTask, CountsNoArgumentsAsTheEmptyList) {
    start(writeTool("tool", "#!/bin/sh\necho $#\n"), std::nullopt);
    EXPECT_EQ(delivered(), "0\n");
}

TEST_F(AsyncTask, ReplacesTheWholeEnvironmentWhenOneIsGiven) {
    runner_->asyncDataFromTask("/usr/bin/env", {}, listener_, printedOperation, Value(),
                               Value::Dictionary{{"ONLY", "this"}});
    EXPECT_EQ(delivered(), "ONLY=this\n");
}

TEST_F(AsyncTask, HandsOverTheRunnerAndTheObject) {
    start(shell, script("echo out"), Value("mine"));
    for (const auto& call : listener_->callsToTheEnd()) {
        ASSERT_EQ(call.size(), 3U);
        EXPECT_EQ(call[2], Value("mine"));
    }
    EXPECT_EQ(listener_->runners(), std::vector<const void*>(2, runner_.get()));
}

TEST_F(AsyncTask, LeavesTheThirdArgumentUnsetWithoutAnObject) {
    start("echo out");
    for (const auto& call : listener_->callsToTheEnd()) {
        ASSERT_EQ(call.size(), 3U);
        EXPECT_TRUE(call[2].isNone());
    }
}

TEST_F(AsyncTask, DeliversOnAThreadOfItsOwn) {
    std::atomic<bool> onMainThread{false};
    listener_->onCall = [&onMainThread](const std::vector<Value>& /*arguments*/) {
        onMainThread = onMainThread || MainLoop::shared().isMainThread();
    };
    start("echo out");
    listener_->callsToTheEnd();
    const auto threads = listener_->threads();
    EXPECT_EQ(threads.front(), threads.back());
    EXPECT_NE(threads.front(), std::this_thread::get_id());
    EXPECT_FALSE(onMainThread);
}

TEST_F(AsyncTask, ForgetsChildDelegateAndObjectAtTheEnd) {
    const auto object = std::make_shared<int>(1);
    start(shell, script("echo out"), Value(Value::Object(object)));
    listener_->callsToTheEnd();
    waitForTheThread();
    EXPECT_EQ(runner_->theTask(), nullptr);
    listener_.reset();
    EXPECT_EQ(object.use_count(), 1);
}

TEST_F(AsyncTask, AsksAChildThatOutlivesItsOutputToEnd) {
    std::shared_ptr<qf::Process> child;
    listener_->onCall = [&](const std::vector<Value>& /*arguments*/) {
        child = runner_->theTask(); // released right after the final call
    };
    start("exec 1>&-; " + gate());
    waitForTheThread();
    ASSERT_NE(child, nullptr);
    child->waitUntilExit();
    EXPECT_EQ(child->terminationStatus(), SIGTERM);
}

TEST_F(AsyncTask, AMissingToolIsLoggedAndStaysPrepared) {
    start(file("missing"), {});
    waitForTheThread();
    EXPECT_EQ(loggedLines(),
              Lines{"Unable to launch async task - task does not exist or is not executable"});
    EXPECT_EQ(printed(), "");
    EXPECT_EQ(listener_->callCount(), 0U);
    ASSERT_NE(runner_->theTask(), nullptr);
    runner_->terminateAsyncTask();
    EXPECT_EQ(runner_->theTask(), nullptr);
}

TEST_F(AsyncTask, AToolThatIsNotExecutableIsLogged) {
    start(directory_.write("plain"), {});
    waitForTheThread();
    EXPECT_EQ(loggedLines(),
              Lines{"Unable to launch async task - task does not exist or is not executable"});
    EXPECT_EQ(listener_->callCount(), 0U);
}

TEST_F(AsyncTask, DoesNotRefusePackages) {
    start(writeTool("Some.app", "#!/bin/sh\necho ran\n"), {});
    EXPECT_EQ(delivered(), "ran\n");
}

TEST_F(AsyncTask, WithoutATaskTheThreadSaysSo) {
    const std::string line = "Unable to launch async task - no task set";
    runner_->launchAsyncTask();
    EXPECT_EQ(loggedLines(), Lines{line});
    EXPECT_EQ(printed(), line + "\n");
}

TEST_F(AsyncTask, ALaunchThatFailsIsLoggedAndPrinted) {
    const auto tool = writeTool("tool", "#!/no/interpreter\n");
    const auto line = "Exception: " + tool +
                      " could not be launched: its interpreter \"/no/interpreter\" does not exist";
    start(tool, {});
    waitForTheThread();
    EXPECT_EQ(loggedLines(), Lines{line});
    EXPECT_EQ(printed(), line + "\n");
    EXPECT_EQ(listener_->callCount(), 0U);
    EXPECT_NE(runner_->theTask(), nullptr);
}

TEST_F(AsyncTask, ADelegateWithoutTheOperationIsNotCalledAndTheRunEnds) {
    runner_->asyncDataFromTask(shell, script("echo out"), listener_, "other:runner:object:", {});
    waitForTheThread();
    EXPECT_EQ(listener_->callCount(), 0U);
    EXPECT_EQ(runner_->theTask(), nullptr);
    EXPECT_TRUE(loggedLines().empty());
}

TEST_F(AsyncTask, WithoutASelectorNobodyIsCalledAndTheRunEnds) {
    runner_->asyncDataFromTask(shell, script("echo out"), listener_, std::nullopt, {});
    waitForTheThread();
    EXPECT_EQ(listener_->callCount(), 0U);
    EXPECT_EQ(runner_->theTask(), nullptr);
}

TEST_F(AsyncTask, DoesNotKeepTheDelegateAlive) {
    start(gate() + "; echo out");
    EXPECT_EQ(listener_.use_count(), 1);
    listener_.reset();
    openGate();
    waitForTheThread();
    EXPECT_EQ(runner_->theTask(), nullptr);
    EXPECT_TRUE(loggedLines().empty());
}

TEST_F(AsyncTask, AnOperationOfTooFewArgumentsEndsTheThread) {
    const auto narrow = std::make_shared<Listener>("toolPrinted:runner:");
    runner_->asyncDataFromTask(shell, script("echo out; " + gate()), narrow,
                               "toolPrinted:runner:", Value("mine"));
    const auto child = runner_->theTask();
    waitForTheThread();
    const std::string line = "Exception: toolPrinted:runner: takes 2 arguments, 3 were given";
    EXPECT_EQ(loggedLines(), Lines{line});
    EXPECT_EQ(printed(), line + "\n");
    EXPECT_EQ(narrow->callCount(), 0U);
    EXPECT_EQ(runner_->theTask(), child);
    EXPECT_TRUE(child->isRunning());
    runner_->terminateTask();
    child->waitUntilExit();
}

TEST_F(AsyncTask, AnOperationOfTwoArgumentsIsEnoughWithoutAnObject) {
    const auto narrow = std::make_shared<Listener>("toolPrinted:runner:");
    runner_->asyncDataFromTask(shell, script("echo out"), narrow, "toolPrinted:runner:", {});
    EXPECT_EQ(narrow->callsToTheEnd().back().size(), 2U);
}

TEST_F(AsyncTask, AnExceptionOfTheDelegateEndsTheThread) {
    std::atomic<int> calls{0};
    listener_->onCall = [&calls](const std::vector<Value>& /*arguments*/) {
        ++calls;
        throw qf::Exception("QFTestException", "no more");
    };
    start("echo out; echo more");
    waitForTheThread();
    EXPECT_EQ(loggedLines(), Lines{"Exception: no more"});
    EXPECT_EQ(calls, 1);
}

/// The operation that terminates a task.
using Termination = NamedValue<void (QFTaskEx::*)()>;

class AsyncTaskTermination : public AsyncTask, public testing::WithParamInterface<Termination> {};

TEST_P(AsyncTaskTermination, FromAnotherThreadEndsABlockedRead) {
    start("trap '' TERM; echo out; " + gate());
    listener_->waitForCalls(1);
    const auto child = runner_->theTask();
    ((*runner_).*GetParam().value)();
    EXPECT_EQ(runner_->theTask(), nullptr);
    waitForTheThread();
    EXPECT_TRUE(child->isRunning());
    EXPECT_EQ(listener_->callCount(), 1U);
    openGate();
    child->waitUntilExit();
    EXPECT_TRUE(loggedLines().empty());
}

INSTANTIATE_TEST_SUITE_P(, AsyncTaskTermination,
                         testing::Values(Termination{{"OfAsyncTask"},
                                                     &QFTaskEx::terminateAsyncTask},
                                         Termination{{"OfTask"}, &QFTaskEx::terminateTask}),
                         nameOfCase);

TEST_F(AsyncTask, TerminationAsksTheChildToEnd) {
    start("echo out; " + gate());
    listener_->waitForCalls(1);
    const auto child = runner_->theTask();
    runner_->terminateAsyncTask();
    child->waitUntilExit();
    EXPECT_EQ(child->terminationStatus(), SIGTERM);
}

TEST_F(AsyncTask, ATerminatedRunHasNoPartInTheNextOne) {
    const auto former = listener_;
    start("echo out; " + gate());
    former->waitForCalls(1);
    listener_ = std::make_shared<Listener>();
    runner_->terminateAsyncTask();
    start("echo next");
    EXPECT_EQ(delivered(), "next\n");
    EXPECT_EQ(former->callCount(), 1U);
    EXPECT_TRUE(loggedLines().empty());
}

TEST_F(AsyncTask, AThreadThatComesTooLateForItsRunHasNoPartInTheNextOne) {
    for (int round = 0; round < 50; ++round) {
        start("echo former");
        runner_->terminateAsyncTask();
        listener_ = std::make_shared<Listener>();
        start("echo next");
        EXPECT_EQ(delivered(), "next\n");
        waitForTheThread();
    }
    const auto lines = loggedLines();
    EXPECT_TRUE(std::ranges::none_of(
        lines, [](const std::string& line) { return line.starts_with("Exception: "); }));
}

TEST_F(AsyncTask, TheObjectOfAFormerRunMayUseTheRunnerWhenItIsGivenUp) {
    const auto terminate = [this](int* object) {
        runner_->terminateTask();
        delete object;
    };
    start(file("missing"), {}, Value(Value::Object(new int(1), terminate)));
    waitForTheThread();
    start(file("missing"), {});
    EXPECT_EQ(runner_->theTask(), nullptr);
    waitForTheThread();
}

TEST_F(AsyncTask, TheDelegateMayTerminateTheRun) {
    listener_->onCall = [this](const std::vector<Value>& /*arguments*/) {
        runner_->terminateTask();
    };
    start("echo out; " + gate());
    waitForTheThread();
    EXPECT_EQ(listener_->callCount(), 1U);
    EXPECT_EQ(runner_->theTask(), nullptr);
}

TEST_F(AsyncTask, TheRunnerLivesUntilItsThreadEnds) {
    start(gate() + "; echo out");
    const std::weak_ptr<QFTaskEx> kept = runner_;
    runner_.reset();
    EXPECT_FALSE(kept.expired());
    openGate();
    EXPECT_EQ(delivered(), "out\n");
    EXPECT_TRUE(eventually([&] { return kept.expired(); }));
}

TEST_F(AsyncTask, DisposalAsksTheChildToEnd) {
    listener_->onCall = [](const std::vector<Value>& /*arguments*/) {
        throw qf::Exception("QFTestException", "no more");
    };
    start("echo out; " + gate());
    const auto child = runner_->theTask();
    waitForTheThread();
    EXPECT_TRUE(child->isRunning());
    runner_.reset();
    child->waitUntilExit();
    EXPECT_EQ(child->terminationStatus(), SIGTERM);
}

TEST_F(AsyncTask, AChunkTravelsInANotificationRecord) {
    start(file("missing"), {}, Value("mine"));
    waitForTheThread();
    const Data chunk{{std::byte{'x'}}};
    runner_->asyncTaskReturnData(
        Notification{"QFAsyncTaskDataNotification", Value(),
                     Value::Dictionary{{"NSFileHandleNotificationDataItem", chunk}}});
    EXPECT_EQ(listener_->callCount(), 1U);
    EXPECT_NE(runner_->theTask(), nullptr);
    runner_->asyncTaskReturnData(
        Notification{"QFAsyncTaskDataNotification", Value(),
                     Value::Dictionary{{"NSFileHandleNotificationDataItem", Data()}}});
    EXPECT_EQ(listener_->callCount(), 2U);
    EXPECT_EQ(runner_->theTask(), nullptr);
}

TEST_F(AsyncTask, RefusesAnEnvironmentThatIsNoDictionaryOfStrings) {
    EXPECT_THROW(runner_->asyncDataFromTask(shell, {}, listener_, printedOperation, {}, Value(1)),
                 qf::Exception);
    EXPECT_EQ(runner_->theTask(), nullptr);
}

} // namespace
