#include "app/RunningPrograms.h"

#include "platform/StartUp.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <filesystem>
#include <string>

namespace fs = std::filesystem;

namespace {

/// A child that sleeps under the name of a program.
class SleepingProgram {
public:
    explicit SleepingProgram(const fs::path& file) {
        fs::copy_file("/bin/sleep", file);
        const auto path = file.string();
        std::array<const char*, 3> arguments{path.c_str(), "1000000", nullptr};
        EXPECT_EQ(::posix_spawn(&child_, path.c_str(), nullptr, nullptr,
                                const_cast<char**>(arguments.data()), environ),
                  0);
    }
    ~SleepingProgram() { end(); }
    SleepingProgram(const SleepingProgram&) = delete;
    SleepingProgram& operator=(const SleepingProgram&) = delete;
    SleepingProgram(SleepingProgram&&) = delete;
    SleepingProgram& operator=(SleepingProgram&&) = delete;

    void end() {
        if (child_ > 0) {
            ::kill(child_, SIGKILL);
            ::waitpid(child_, nullptr, 0);
            child_ = 0;
        }
    }

private:
    pid_t child_ = 0;
};

std::vector<std::string> runningOf(const std::vector<std::string>& names,
                                   const std::string& tool = "/usr/bin/killall") {
    std::vector<InventoryRow> rows{{.action = PlanAction::kill, .subject = tool, .names = names}};
    findRunning(rows);
    return rows.front().running;
}

class RunningPrograms : public ::testing::Test {
protected:
    static void SetUpTestSuite() { qf::installServices(); }
};

TEST_F(RunningPrograms, AreThoseThatRunNow) {
    const TemporaryDirectory directory;
    const auto own = "QF" + std::to_string(::getpid());
    // The kernel keeps only the beginning of it.
    const auto longName = own + " with a long name";
    SleepingProgram first(directory / own);
    SleepingProgram second(directory / longName);

    EXPECT_EQ(runningOf({own, own + "x", longName}), (std::vector<std::string>{own, longName}));
    first.end();
    EXPECT_EQ(runningOf({own, longName}), std::vector<std::string>{longName});
}

TEST_F(RunningPrograms, AreUnknownWithoutTheTool) {
    EXPECT_EQ(runningOf({"sh"}, "/usr/bin/no-such-tool"), std::vector<std::string>());
}

TEST_F(RunningPrograms, AreNotLookedForInOtherRows) {
    std::vector<InventoryRow> rows{{.action = PlanAction::trashMatching, .names = {"sh"}}};
    findRunning(rows);
    EXPECT_TRUE(rows.front().running.empty());
}

} // namespace
