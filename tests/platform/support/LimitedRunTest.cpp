#include "platform/support/LimitedRun.h"

#include "platform/Services.h"
#include "platform/foundation/Exception.h"
#include "platform/linux/process/ProcessLauncher.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <string>

using namespace std::chrono_literals;

namespace {

/// Far more than a child here needs, and far less than one that never ends.
constexpr platform::RunLimits generous{.time = 10min, .output = 1000};

class LimitedRun : public testing::Test {
protected:
    static platform::LimitedRun run(const std::string& script,
                                    const platform::RunLimits& limits = generous) {
        platform::ProcessDescription description;
        description.launchPath = "/bin/sh";
        description.arguments = {"-c", script};
        return platform::runWithin(limits, description);
    }

    platform::native::ProcessLauncher launcher_;
    const platform::ScopedService<platform::ProcessLauncher> installed_{launcher_};
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

/// Traces the process whose number is written into a file, and never takes note of its end.
class Tracer {
public:
    explicit Tracer(const std::string& file) : process_(::fork()) {
        if (process_ == 0) {
            pid_t traced = 0;
            while (!(std::ifstream(file) >> traced)) {
            }
            ::ptrace(PTRACE_SEIZE, traced, nullptr, nullptr);
            for (;;) {
                ::pause();
            }
        }
    }
    ~Tracer() {
        ::kill(process_, SIGKILL);
        ::waitpid(process_, nullptr, 0);
    }
    Tracer(const Tracer&) = delete;
    Tracer& operator=(const Tracer&) = delete;
    Tracer(Tracer&&) = delete;
    Tracer& operator=(Tracer&&) = delete;

private:
    const pid_t process_;
};

TEST_F(LimitedRun, GivesUpAChildWhoseEndATracerHides) {
    const TemporaryDirectory directory;
    const auto file = directory / "number";
    const Tracer tracer(file);
    const auto ended = run("echo $$ > " + file + ".new; mv " + file + ".new " + file +
                               "; until grep -q 'TracerPid:.[1-9]' /proc/$$/status; do :; done",
                           {.time = 2s, .dying = 10ms, .output = 1000});
    EXPECT_TRUE(ended.tookTooLong);
}

TEST_F(LimitedRun, KillsAChildThatHasClosedItsOutputAndNeverEnds) {
    EXPECT_TRUE(run("exec >&- 2>&-; sleep 100000", {.time = 300ms, .output = 1000}).tookTooLong);
}

TEST_F(LimitedRun, KillsAChildThatWritesWithoutEnd) {
    for (const std::string script :
         {"trap '' PIPE; while :; do echo y; done", "trap '' PIPE; while :; do echo y; done >&2"}) {
        const auto ended = run(script);

        EXPECT_TRUE(ended.wroteTooMuch);
        EXPECT_FALSE(ended.tookTooLong);
        EXPECT_EQ(ended.status, SIGKILL);
        EXPECT_EQ(ended.output.size() + ended.errors.size(), generous.output);
    }
}

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
    platform::ProcessDescription description;
    description.launchPath = "/nowhere/program";

    EXPECT_THROW(platform::runWithin(generous, description), platform::Exception);
}

} // namespace
