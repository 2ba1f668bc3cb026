#include "tests/util/task/TaskTest.h"
#include "util/task/QFTaskEx.h"

#include "platform/foundation/Exception.h"

#include <filesystem>
#include <optional>

namespace {

using Lines = std::vector<std::string>;

class RunTask : public TaskTest {};
class RunTaskAndReturn : public TaskTest {};

TEST_F(RunTask, ReturnsTrueWhenTheChildHasEnded) {
    EXPECT_TRUE(QFTaskEx::runTask(shell, script("echo ran > '" + file("proof") + "'")));
    EXPECT_EQ(contentOf(file("proof")), "ran\n");
    EXPECT_TRUE(loggedLines().empty());
}

TEST_F(RunTask, DoesNotLookAtTheExitStatus) {
    EXPECT_TRUE(QFTaskEx::runTask(shell, script("exit 3")));
    EXPECT_TRUE(QFTaskEx::runTask(shell, script("kill -KILL $$")));
}

TEST_F(RunTask, HandsTheArgumentsOnAsTheyAre) {
    const auto tool = writeTool("tool", "#!/bin/sh\nprintf '%s|' \"$@\" > \"$0.seen\"\n");
    EXPECT_TRUE(QFTaskEx::runTask(tool, {"a b", "", "$HOME;*", "\xFF\n"}));
    EXPECT_EQ(contentOf(tool + ".seen"), "a b||$HOME;*|\xFF\n|");
}

TEST_F(RunTask, TakesTwoTextsInBracesForTwoArguments) {
    const char* const first = "first";
    const char* const second = "second";
    EXPECT_EQ((qf::TaskArguments{{first, second}}.list()), (Lines{"first", "second"}));
    EXPECT_EQ((qf::TaskArguments{{"a", "b"}}.list()), (Lines{"a", "b"}));
    EXPECT_EQ((qf::TaskArguments{"a", std::string("b"), std::string_view("c").data()}.list()),
              (Lines{"a", "b", "c"}));
}

TEST_F(RunTask, TakesAListThatMayBeMissing) {
    std::optional<Lines> list(Lines{"a", "b"});
    EXPECT_EQ(qf::TaskArguments(list).list(), (Lines{"a", "b"}));
    list.reset();
    EXPECT_EQ(qf::TaskArguments(list).list(), Lines{});
}

TEST_F(RunTask, CountsNoArgumentsAsTheEmptyList) {
    const auto tool = writeTool("tool", "#!/bin/sh\necho $# > \"$0.seen\"\n");
    EXPECT_TRUE(QFTaskEx::runTask(tool, std::nullopt));
    EXPECT_EQ(contentOf(tool + ".seen"), "0\n");
}

TEST_F(RunTask, DiscardsOutputAndErrorsAndLeavesTheInput) {
    EXPECT_TRUE(QFTaskEx::runTask(
        shell, script("s=$(readlink /proc/$$/fd/0 /proc/$$/fd/1 /proc/$$/fd/2); echo \"$s\" > '" +
                      file("streams") + "'")));
    EXPECT_EQ(contentOf(file("streams")), ownStream(0) + "\n/dev/null\n/dev/null\n");
}

TEST_F(RunTask, RefusesAnAbsolutePathThatIsNotExecutable) {
    const auto tool = directory_.write("tool", "#!/bin/sh\n");
    const auto line = "Error: " + tool + " is not executable";
    EXPECT_FALSE(QFTaskEx::runTask(tool, {}));
    EXPECT_EQ(loggedLines(), Lines{line});
    EXPECT_EQ(printed(), line + "\n");
}

TEST_F(RunTask, RefusesAnAbsolutePathWhereNothingIs) {
    EXPECT_FALSE(QFTaskEx::runTask(file("missing"), {}));
    EXPECT_EQ(loggedLines(), Lines{"Error: " + file("missing") + " is not executable"});
}

TEST_F(RunTask, RefusesAnApplicationBundleThoughItsDirectoryIsExecutable) {
    const auto bundle = directory_.makeDirectory("Some.app");
    EXPECT_FALSE(QFTaskEx::runTask(bundle, {}));
    EXPECT_EQ(loggedLines(), Lines{"Error: " + bundle + " is not executable"});
}

TEST_F(RunTask, TriesARelativePathAndLogsWhyItFailed) {
    EXPECT_FALSE(QFTaskEx::runTask("no-such-tool", {}));
    EXPECT_EQ(loggedLines(),
              Lines{"Exception running task no-such-tool: no-such-tool could not be launched: no "
                    "file exists at that path"});
    EXPECT_EQ(printed(), "");
}

TEST_F(RunTask, RunsARelativePathFromTheWorkingDirectory) {
    const auto relative =
        std::filesystem::relative(writeTool("tool", "#!/bin/sh\ntouch \"$0.ran\"\n")).string();
    ASSERT_FALSE(relative.starts_with('/'));
    EXPECT_TRUE(QFTaskEx::runTask(relative, {}));
    EXPECT_TRUE(std::filesystem::exists(file("tool.ran")));
}

TEST_F(RunTask, TriesARelativePathEvenOfAPackage) {
    const auto relative =
        std::filesystem::relative(writeTool("Some.app", "#!/bin/sh\ntouch \"$0.ran\"\n")).string();
    EXPECT_TRUE(QFTaskEx::runTask(relative, {}));
    EXPECT_TRUE(std::filesystem::exists(file("Some.app.ran")));
    EXPECT_FALSE(QFTaskEx::runTask(file("Some.app"), {}));
}

TEST_F(RunTask, HasLoggedWhyItFailedWhenItReturns) {
    for (int count = 0; count < 50; ++count) {
        forgetLogLines();
        EXPECT_FALSE(QFTaskEx::runTask("none", {}));
        ASSERT_EQ(
            linesWrittenByNow(),
            Lines{"Exception running task none: none could not be launched: no file exists at "
                  "that path"});
    }
}

TEST_F(RunTask, TriesAnEmptyPath) {
    EXPECT_FALSE(QFTaskEx::runTask("", {}));
    EXPECT_EQ(loggedLines(), Lines{"Exception running task : the task has no launch path"});
}

TEST_F(RunTask, LogsAToolThatCannotBeLaunched) {
    const auto tool = writeTool("tool", "#!/no/interpreter -x\n");
    EXPECT_FALSE(QFTaskEx::runTask(tool, {}));
    EXPECT_EQ(loggedLines(), Lines{"Exception running task " + tool + ": " + tool +
                                   " could not be launched: its interpreter \"/no/interpreter\" "
                                   "does not exist"});
    EXPECT_EQ(printed(), "");
}

TEST_F(RunTask, SaysWhyTheChildWasNotLaunched) {
    const auto reason = [](const std::string& tool) {
        qf::TaskSlot slot;
        return QFTaskEx::runTaskWithResult(tool, {}, slot).error().localizedDescription;
    };
    EXPECT_EQ(reason(file("missing")), "Error: " + file("missing") + " is not executable");
    EXPECT_EQ(reason("none"), "none could not be launched: no file exists at that path");
}

TEST_F(RunTask, RefusesAnArgumentWithAZeroByte) {
    EXPECT_FALSE(QFTaskEx::runTask(shell, {"-c", std::string("a\0b", 3)}));
    EXPECT_EQ(loggedLines(), Lines{"Exception running task /bin/sh: argument 2 contains a zero "
                                   "byte: a\\x00b"});
}

TEST_F(RunTask, KeepsTheChildInTheSlotWhileItRuns) {
    qf::TaskSlot slot;
    std::thread worker([&] { EXPECT_TRUE(QFTaskEx::runTask(shell, script(gate("held")), slot)); });
    EXPECT_TRUE(eventually([&] { return slot.get() != nullptr && slot.get()->isRunning(); }));
    EXPECT_EQ(slot.get()->description().launchPath, shell);
    openGate("held");
    worker.join();
    EXPECT_FALSE(slot.get()->isRunning());
}

TEST_F(RunTaskAndReturn, ReturnsTheRunningChild) {
    const auto child = QFTaskEx::runTaskAndReturn(shell, script(gate() + "; exit 4"));
    ASSERT_NE(child, nullptr);
    EXPECT_TRUE(child->isRunning());
    openGate();
    child->waitUntilExit();
    EXPECT_EQ(child->terminationStatus(), 4);
}

TEST_F(RunTaskAndReturn, DiscardsOutputAndErrors) {
    const auto child = QFTaskEx::runTaskAndReturn(
        shell, script("s=$(readlink /proc/$$/fd/1 /proc/$$/fd/2); echo \"$s\" > '" +
                      file("streams") + "'"));
    child->waitUntilExit();
    EXPECT_EQ(contentOf(file("streams")), "/dev/null\n/dev/null\n");
}

TEST_F(RunTaskAndReturn, LeavesNoZombieWhenNobodyWaits) {
    const auto identifier =
        QFTaskEx::runTaskAndReturn(shell, script("exit 0"))->processIdentifier();
    EXPECT_TRUE(eventually(
        [&] { return !std::filesystem::exists("/proc/" + std::to_string(identifier)); }));
}

TEST_F(RunTaskAndReturn, RefusesAPathThatIsNotGivenNotExecutableOrAPackage) {
    const auto bundle = directory_.makeDirectory("Some.app");
    EXPECT_EQ(QFTaskEx::runTaskAndReturn("", {}), nullptr);
    EXPECT_EQ(QFTaskEx::runTaskAndReturn("no-such-tool", {}), nullptr);
    EXPECT_EQ(QFTaskEx::runTaskAndReturn(bundle, {}), nullptr);
    EXPECT_EQ(loggedLines(),
              (Lines{"Error:  is not executable", "Error: no-such-tool is not executable",
                     "Error: " + bundle + " is not executable"}));
    EXPECT_NE(printed().find("Error: no-such-tool is not executable"), std::string::npos);
}

TEST_F(RunTaskAndReturn, FillsTheLineAboutARefusedPathTwice) {
    EXPECT_EQ(QFTaskEx::runTaskAndReturn("/no/100%% sure", {}), nullptr);
    EXPECT_EQ(loggedLines(), Lines{"Error: /no/100% sure is not executable"});
    forgetLogLines();
    EXPECT_EQ(QFTaskEx::runTaskAndReturn("/no/%%%%x", {}), nullptr);
    EXPECT_EQ(loggedLines(), Lines{"Error: /no/%x is not executable"});
}

TEST_F(RunTaskAndReturn, LetsTheLaunchExceptionThrough) {
    const auto directory = directory_.makeDirectory("folder");
    try {
        QFTaskEx::runTaskAndReturn(directory, {});
        FAIL() << "a folder was launched";
    } catch (const qf::Exception& exception) {
        EXPECT_EQ(exception.name(), "NSInvalidArgumentException");
        EXPECT_EQ(exception.reason(),
                  directory + " could not be launched: it is a folder, not a program");
    }
    EXPECT_TRUE(loggedLines().empty());
}

} // namespace
