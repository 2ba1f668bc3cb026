#include "platform/support/LimitedRun.h"

#include "platform/Services.h"
#include "platform/foundation/Exception.h"
#include "platform/linux/process/ProcessLauncher.h"
#include "tests/support/NamedCase.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/Tracer.h"

#include <gtest/gtest.h>

#include <csignal>
#include <string>

using namespace std::chrono_literals;

namespace {

/// Far more than a child here needs, and far less than one that never ends.
constexpr qf::RunLimits generous{.time = 10min, .output = 1000};

class LimitedRun : public testing::Test {
protected:
    static qf::LimitedRun run(const std::string& script, const qf::RunLimits& limits = generous) {
        qf::ProcessDescription description;
        description.launchPath = "/bin/sh";
        description.arguments = {"-c", script};
        return qf::runWithin(limits, description);
    }

    qf::native::ProcessLauncher launcher_;
    const qf::ScopedService<qf::ProcessLauncher> installed_{launcher_};
};

TEST_F(LimitedRun, ReturnsTheStatusAndBothOutputs) {
    const auto ended = run("echo text; echo error >&2; exit 7");

    EXPECT_EQ(ended.status, 7);
    EXPECT_EQ(ended.output, "text\n");
    EXPECT_EQ(ended.errors, "error\n");
    EXPECT_FALSE(ended.tookTooLong || ended.wroteTooMuch);
}

TEST_F(LimitedRun, KillsAChildThatNeverEnds) {
    const auto ended = run("trap '' TERM; echo begun; while :; do sleep 1000; done",
                           {.time = 300ms, .output = 1000});

    EXPECT_TRUE(ended.tookTooLong);
    EXPECT_EQ(ended.status, SIGKILL);
}

TEST_F(LimitedRun, KillsAStoppedChild) {
    EXPECT_TRUE(run("kill -STOP $$", {.time = 300ms, .output = 1000}).tookTooLong);
}

TEST_F(LimitedRun, GivesUpAChildWhoseEndATracerHides) {
    const TemporaryDirectory directory;
    const auto file = directory / "number";
    const EndHidingTracer tracer(file);
    const auto ended = run("echo $$ > " + file + ".new; mv " + file + ".new " + file +
                               "; until grep -q 'TracerPid:.[1-9]' /proc/$$/status; do :; done",
                           {.time = 2s, .dying = 10ms, .output = 1000});
    EXPECT_TRUE(ended.tookTooLong);
}

TEST_F(LimitedRun, KillsAChildThatHasClosedItsOutputAndNeverEnds) {
    EXPECT_TRUE(run("exec >&- 2>&-; sleep 100000", {.time = 300ms, .output = 1000}).tookTooLong);
}

class LimitedRunOfAWriter : public LimitedRun, public testing::WithParamInterface<NamedText> {};

TEST_P(LimitedRunOfAWriter, KillsAChildThatWritesWithoutEnd) {
    const auto ended = run(GetParam().value);

    EXPECT_TRUE(ended.wroteTooMuch);
    EXPECT_FALSE(ended.tookTooLong);
    EXPECT_EQ(ended.status, SIGKILL);
    EXPECT_EQ(ended.output.size() + ended.errors.size(), generous.output);
}

INSTANTIATE_TEST_SUITE_P(
    , LimitedRunOfAWriter,
    testing::Values(NamedText{{"OfOutput"}, "trap '' PIPE; while :; do echo y; done"},
                    NamedText{{"OfErrors"}, "trap '' PIPE; while :; do echo y; done >&2"}),
    nameOfCase);

TEST_F(LimitedRun, TakesAsMuchAsTheLimit) {
    const auto ended = run("printf '%01000d' 0");

    EXPECT_FALSE(ended.wroteTooMuch);
    EXPECT_EQ(ended.output.size(), generous.output);
}

TEST_F(LimitedRun, WaitsForNothingThatTheChildLeavesRunning) {
    const auto ended = run("setsid sleep 100000 & echo $!");

    EXPECT_FALSE(ended.tookTooLong);
    ::kill(std::stoi(ended.output), SIGKILL);
}

TEST_F(LimitedRun, RaisesWhatTheLauncherRaises) {
    qf::ProcessDescription description;
    description.launchPath = "/nowhere/program";

    EXPECT_THROW(qf::runWithin(generous, description), qf::Exception);
}

} // namespace
