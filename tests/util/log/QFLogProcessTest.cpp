// What the log retains from a process that ends, in any way, or that shares the log with another.

#include "tests/support/RunCommand.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <future>
#include <map>
#include <string>
#include <sys/wait.h>
#include <vector>

namespace {

struct Ending {
    int status = 0;
    std::string printed;

    bool wasKilledBy(int signal) const {
        return WIFEXITED(status) && WEXITSTATUS(status) == 128 + signal;
    }
    bool succeeded() const { return WIFEXITED(status) && WEXITSTATUS(status) == 0; }
};

class LogProcess : public testing::Test {
protected:
    /// Runs the child program in a role and collects its standard output. The shell reports a
    /// signal as 128 plus its number.
    Ending run(const std::string& role, const std::string& arguments = "") const {
        const auto command = "ulimit -c 0; '" LOG_CHILD "' " + role + " '" + directory.path() +
                             "' " + arguments + " 2>>'" + directory.path() + "/errors'; exit $?";
        std::FILE* pipe = ::popen(command.c_str(), "re");
        EXPECT_NE(pipe, nullptr);
        Ending ending;
        std::array<char, 4096> buffer{};
        while (const auto size = std::fread(buffer.data(), 1, buffer.size(), pipe)) {
            ending.printed.append(buffer.data(), size);
        }
        ending.status = ::pclose(pipe);
        return ending;
    }
    std::string content() const { return contentOf(path); }
    static std::string entry(const std::string& text) {
        return "2026-11-16 12:00:00 +0000 - " + text + "\n";
    }

    TemporaryDirectory directory;
    std::string path = directory.write("Logs/Quillfen/Test.1.log");
};

} // namespace

TEST_F(LogProcess, KeepsAnEntryWhoseCallHasWaitedWhenItIsKilled) {
    const auto ending = run("killed");
    EXPECT_TRUE(ending.wasKilledBy(SIGKILL));
    EXPECT_EQ(content(), entry("before the end"));
}

TEST_F(LogProcess, NeverTearsTheLinesOfAnotherThatSharesTheLog) {
    constexpr int count = 2000;
    {
        std::vector<std::future<void>> processes;
        processes.reserve(2);
        for (const char* name : {"a", "b"}) {
            processes.push_back(std::async(std::launch::async, [this, name] {
                EXPECT_TRUE(run("share", name + (" " + std::to_string(count))).succeeded());
            }));
        }
    }
    std::array<int, 2> next{};
    std::size_t begin = 0;
    const auto lines = content();
    while (begin < lines.size()) {
        const auto end = lines.find('\n', begin);
        const auto line = lines.substr(begin, end + 1 - begin);
        const bool first = line.compare(entry("").size() - 1, 2, "a ") == 0;
        auto& number = next.at(first ? 0 : 1);
        ASSERT_EQ(line, entry(std::string(first ? "a " : "b ") + std::to_string(number) + " " +
                              std::string(static_cast<std::size_t>(number * 37 % 300), 'x') + "."));
        ++number;
        begin = end + 1;
    }
    EXPECT_EQ(next, (std::array{count, count}));
}

TEST_F(LogProcess, LogsOnInAForkedProcessAndWritesNothingTwice) {
    // The test does exactly what ThreadSanitizer would end the child for.
    const ScopedEnvironment lenient("TSAN_OPTIONS", "die_after_fork=0");
    EXPECT_TRUE(run("forked").succeeded());
    EXPECT_EQ(content(), entry("written before") + entry("in the copy") + entry("queued before") +
                             entry("in the original"));
}

TEST_F(LogProcess, WritesTheReasonOfAnExceptionThatNobodyCaughtBeforeItEnds) {
    const auto ending = run("uncaught", "main platform");
    EXPECT_TRUE(ending.wasKilledBy(SIGABRT));
    EXPECT_EQ(content(), entry("before") + entry("index 5 beyond bounds"));
    EXPECT_EQ(ending.printed, "index 5 beyond bounds\n");
}

TEST_F(LogProcess, LetsTheFormerHandlerEndIt) {
    run("uncaught", "main platform");
    // The text is the standard library's; each has its own.
    EXPECT_NE(contentOf(directory / "errors").find("terminat"), std::string::npos);
}

TEST_F(LogProcess, WritesTheReasonOfAStandardException) {
    EXPECT_TRUE(run("uncaught", "main standard").wasKilledBy(SIGABRT));
    EXPECT_EQ(content(), entry("before") + entry("a standard reason"));
}

TEST_F(LogProcess, WritesThatAnExceptionOfAnotherKindTellsNoReason) {
    EXPECT_TRUE(run("uncaught", "main other").wasKilledBy(SIGABRT));
    EXPECT_EQ(content(), entry("before") + entry("An exception that tells no reason"));
}

TEST_F(LogProcess, WritesTheReasonOfAnExceptionOnAnyThread) {
    EXPECT_TRUE(run("uncaught", "thread platform").wasKilledBy(SIGABRT));
    EXPECT_EQ(content(), entry("before") + entry("index 5 beyond bounds"));
}

TEST_F(LogProcess, WritesTheReasonOfAnExceptionOnTheWriteQueueItself) {
    EXPECT_TRUE(run("uncaught", "queue platform").wasKilledBy(SIGABRT));
    EXPECT_EQ(content(), entry("before") + entry("behind") + entry("index 5 beyond bounds"));
}

TEST_F(LogProcess, WritesWhatIsQueuedWhenItsApplicationTerminatesWithTenOperations) {
    EXPECT_TRUE(run("terminate", "10").succeeded());
    std::string expected;
    for (int number = 1; number <= 9; ++number) {
        expected += entry("entry " + std::to_string(number));
    }
    EXPECT_EQ(content(), expected);
}

TEST_F(LogProcess, GoesOnWhenItsLogMayNotGrowAnyMore) {
    const auto ending = run("limited", "100");
    EXPECT_TRUE(ending.succeeded());
    EXPECT_LE(content().size(), 100U);
    EXPECT_TRUE(content().starts_with(entry("entry 0") + entry("entry 1")));
    const std::string failure =
        "Exception writing to log: “Test.1.log” couldn’t be written to because it is too large.\n";
    EXPECT_TRUE(ending.printed.starts_with(failure));
    EXPECT_TRUE(ending.printed.ends_with(failure));
}

TEST_F(LogProcess, CountsAnEntryOnThatAFullDiskHasTornAndGoesOnInALineOfItsOwn) {
    if (const auto reason = whyNoMounts(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    const auto ending = run("fullDisk", "'" + directory / "Logs/Quillfen" + "'");
    ASSERT_TRUE(ending.succeeded()) << contentOf(directory / "errors");
    const auto end = ending.printed.find(" characters\n");
    ASSERT_NE(end, std::string::npos) << ending.printed;
    EXPECT_EQ(ending.printed.substr(0, end),
              "Exception writing to log: “Test.1.log” couldn’t be written to because the volume is "
              "full.\n5000");
    const auto content = ending.printed.substr(ending.printed.find('\n', end) + 1);
    EXPECT_TRUE(content.starts_with(entry("before") + entry("").substr(0, 28) + "yyy"));
    EXPECT_TRUE(content.ends_with("y\n" + entry("after")));
}

namespace {

constexpr int crowdThreads = 4;
constexpr int crowdEntries = 250;

/// So many processes that start logs, cross the limit, are killed and started again.
class LogCrowd : public LogProcess, public testing::WithParamInterface<int> {
protected:
    /// The lives of one of the processes: the first two end by a signal.
    void live(int process) const {
        int life = 0;
        for (const int last : {30, 90, crowdEntries}) {
            const auto name = std::to_string(process) + "-" + std::to_string(++life);
            const auto ending = run("crowd", name + " " + std::to_string(crowdThreads) + " " +
                                                 std::to_string(crowdEntries) + " " +
                                                 std::to_string(last) + " '" + told() + "'");
            EXPECT_TRUE(last == crowdEntries ? ending.succeeded() : ending.wasKilledBy(SIGKILL));
            EXPECT_EQ(ending.printed, "");
        }
    }
    std::string told() const { return directory / "told"; }

    /// Returns whether a message was told whole: a kill can tear it where a page of the file ends.
    static bool isWhole(const std::string& told) {
        return told.ends_with(" " + std::string(900, 'x')) &&
               std::count(told.begin(), told.end(), '-') == 3;
    }

    /// Returns how often each message is in the files of a directory. Every line is a whole entry.
    static void countMessages(const std::string& path, std::map<std::string, int>& counts) {
        const auto before = entry("").size() - 1;
        for (const auto& file : std::filesystem::directory_iterator(path)) {
            std::ifstream lines(file.path());
            for (std::string line; std::getline(lines, line);) {
                ASSERT_TRUE((line + "\n").starts_with(entry("").substr(0, before))) << line;
                ++counts[line.substr(before)];
            }
        }
    }
};

} // namespace

TEST_P(LogCrowd, LosesAndDoublesNothingThatWasToldAcrossTheLimitKillsAndRestarts) {
    {
        std::vector<std::future<void>> processes;
        for (int process = 0; process < GetParam(); ++process) {
            processes.push_back(std::async(std::launch::async, [this, process] { live(process); }));
        }
    }
    std::map<std::string, int> counts;
    countMessages(directory / "Logs/Quillfen", counts);
    countMessages(directory / "deleted", counts);
    EXPECT_GT(counts["Log truncated at 500KB"], 0);
    std::vector<std::string> lost;
    int doubled = 0;
    int written = 0;
    std::ifstream lines(told());
    for (std::string line; std::getline(lines, line); ++written) {
        if (isWhole(line) && counts[line] == 0) {
            lost.push_back(line);
        }
        doubled += counts[line] > 1 ? 1 : 0;
    }
    EXPECT_GT(written, GetParam() * crowdThreads * crowdEntries);
    EXPECT_EQ(lost, std::vector<std::string>{}) << "of " << written;
    EXPECT_EQ(doubled, 0) << "of " << written;
}

INSTANTIATE_TEST_SUITE_P(Processes, LogCrowd, testing::Values(2, 8, 16));
