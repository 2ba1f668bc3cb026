#include "tests/support/AddressSpace.h"
#include "tests/support/CasePath.h"
#include "tests/support/NamedCase.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/ScopedLimit.h"
#include "tests/util/task/TaskTest.h"
#include "util/task/QFTaskEx.h"

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <future>

namespace {

using Lines = std::vector<std::string>;
using qf::Value;

class DataFromTask : public TaskTest {
protected:
    /// Returns the result of the member with all parameters for a shell script.
    std::string collected(const std::string& text, qf::LogOutput logOutput, qf::LogError logError) {
        return TaskTest::text(
            QFTaskEx::dataFromTask(shell, script(text), slot_, Value(), logOutput, logError));
    }
    std::string collected(const std::string& text) {
        return collected(text, qf::LogOutput::yes, qf::LogError::yes);
    }
    std::string environmentOf(const Value& environment) {
        return text(QFTaskEx::dataFromTask("/usr/bin/env", {}, slot_, environment));
    }

    qf::TaskSlot slot_;
};

TEST_F(DataFromTask, ReturnsTheOutputWhateverTheExitStatus) {
    EXPECT_EQ(collected("echo out; exit 5"), "out\n");
}

TEST_F(DataFromTask, ReturnsTheErrorsOfAChildThatWritesNothingElse) {
    EXPECT_EQ(collected("echo wrong >&2"), "wrong\n");
}

TEST_F(DataFromTask, ReturnsOnlyTheOutputOfAChildThatWritesBoth) {
    EXPECT_EQ(collected("echo wrong >&2; echo out"), "out\n");
}

TEST_F(DataFromTask, ReturnsNoBytesButNotNothingForASilentChild) {
    const auto data = QFTaskEx::dataFromTask(shell, script(":"), slot_);
    ASSERT_TRUE(data.has_value());
    EXPECT_TRUE(data->bytes.empty());
}

TEST_F(DataFromTask, ShorterMembersCollectBothStreams) {
    EXPECT_EQ(text(QFTaskEx::dataFromTask(shell, script("echo e >&2"), slot_)), "e\n");
    EXPECT_EQ(text(QFTaskEx::dataFromTask(shell, script("echo e >&2"), slot_, Value())), "e\n");
    EXPECT_EQ(text(QFTaskEx::dataFromTask(shell, script("echo e >&2"), slot_, Value(),
                                          qf::LogOutput::no)),
              "e\n");
    EXPECT_EQ(text(QFTaskEx::dataFromTask(shell, script("echo o"), slot_)), "o\n");
    EXPECT_EQ(text(QFTaskEx::dataFromTask(shell, script("echo o"), slot_, Value())), "o\n");
}

TEST_F(DataFromTask, LeavesTheOutputTheProgramsOwnWithoutLogOutput) {
    EXPECT_EQ(
        collected("s=$(readlink /proc/$$/fd/1); echo $s >&2", qf::LogOutput::no, qf::LogError::yes),
        ownStream(1) + "\n");
}

TEST_F(DataFromTask, ThrowsTheErrorsAwayWithoutLogError) {
    EXPECT_EQ(
        collected("readlink /proc/$$/fd/2; echo wrong >&2", qf::LogOutput::yes, qf::LogError::no),
        "/dev/null\n");
    EXPECT_EQ(collected("echo wrong >&2", qf::LogOutput::yes, qf::LogError::no), "");
}

TEST_F(DataFromTask, ReturnsAtOnceWithNeitherFlag) {
    EXPECT_EQ(collected(gate(), qf::LogOutput::no, qf::LogError::no), "");
    EXPECT_TRUE(slot_.get()->isRunning());
    openGate();
    slot_.get()->waitUntilExit();
}

TEST_F(DataFromTask, GivesTheChildAnInputThatNeverComes) {
    EXPECT_TRUE(collected("readlink /proc/$$/fd/0").starts_with("pipe:["));
}

TEST_F(DataFromTask, DoesNotWaitForTheChildsEnd) {
    EXPECT_EQ(collected("echo out; exec 1>&- 2>&-; " + gate()), "out\n");
    EXPECT_TRUE(slot_.get()->isRunning());
    openGate();
    slot_.get()->waitUntilExit();
}

TEST_F(DataFromTask, DrainsTheErrorsAfterTheEndOfTheOutput) {
    const auto data =
        QFTaskEx::dataFromTask(shell, script("exec 1>&-; head -c 300000 /dev/zero >&2"), slot_);
    EXPECT_EQ(data->bytes.size(), 300000U);
}

TEST_F(DataFromTask, ReadsAllOutputOfAChildThatClosesItsErrorsEarly) {
    const auto text = "exec 2>&-; echo a; " + gate() + "; echo b";
    auto result = std::async(std::launch::async, [&] { return collected(text); });
    openGate();
    EXPECT_EQ(result.get(), "a\nb\n");
}

TEST_F(DataFromTask, ReadsNoErrorsBeforeTheEndOfTheOutput) {
    // Writes errors until the pipe is full, and reports that; a pipe that is read never becomes
    // full.
    const std::string fillPipe = R"(
        use Fcntl;
        fcntl(STDERR, F_SETFL, O_WRONLY | O_NONBLOCK);
        for (1 .. 1000) {
            next if syswrite(STDERR, "x" x 4096);
            open(my $full, ">", shift);
            sleep(1000);
        })";
    std::future<std::optional<qf::Data>> data;
    {
        const BusyMainThread busy;
        data = std::async(std::launch::async, [&] {
            return QFTaskEx::dataFromTask(perl, {"-e", fillPipe, file("full")}, qf::Timeout(0));
        });
        EXPECT_TRUE(waitForFile("full"));
    }
    EXPECT_GE(data.get()->bytes.size(), 4096U);
    EXPECT_EQ(loggedLines(), Lines{"Task /usr/bin/perl timed out. Terminating..."});
}

TEST_F(DataFromTask, CollectsMuchOutput) {
    const auto data =
        QFTaskEx::dataFromTask(shell, script("head -c 50000000 /dev/zero; echo end"), slot_);
    ASSERT_EQ(data->bytes.size(), 50000004U);
    EXPECT_EQ(data->bytes[49999999], std::byte{0});
    EXPECT_EQ(data->bytes[50000000], std::byte{'e'});
}

TEST_F(DataFromTask, WaitsForAGrandchildThatHoldsTheOutput) {
    auto result = std::async(std::launch::async,
                             [&] { return collected("(" + gate() + "; echo late) & echo early"); });
    EXPECT_TRUE(eventually([&] { return slot_.get() != nullptr && !slot_.get()->isRunning(); }));
    openGate();
    EXPECT_EQ(result.get(), "early\nlate\n");
}

TEST_F(DataFromTask, ReplacesTheWholeEnvironmentWhenOneIsGiven) {
    EXPECT_EQ(environmentOf(Value::Dictionary{{"B", "two=2"}, {"A", "1"}}), "A=1\nB=two=2\n");
    EXPECT_EQ(environmentOf(Value::Dictionary{}), "");
}

TEST_F(DataFromTask, LeavesTheProgramsEnvironmentWithoutOne) {
    const ScopedEnvironment inherited("QF_TASK_TEST", "inherited");
    EXPECT_NE(environmentOf(Value()).find("QF_TASK_TEST=inherited\n"), std::string::npos);
}

TEST_F(DataFromTask, RefusesAnEnvironmentThatIsNoDictionaryOfStrings) {
    const std::string line = "Exception running task /usr/bin/env: the task's environment is not a "
                             "dictionary of strings";
    EXPECT_EQ(environmentOf(Value::Dictionary{{"A", 1}}), "no data");
    EXPECT_EQ(environmentOf(Value("A=1")), "no data");
    EXPECT_EQ(loggedLines(), (Lines{line, line}));
}

class DataFromNoTask : public DataFromTask, public testing::WithParamInterface<NamedText> {};

TEST_P(DataFromNoTask, IsRefused) {
    directory_.write("plain");
    directory_.makeDirectory("Some.app");
    const auto path = casePath(directory_, GetParam().value);
    EXPECT_FALSE(QFTaskEx::dataFromTask(path, {}, slot_).has_value());
    EXPECT_EQ(loggedLines(), Lines{"Error: " + path + " is not executable"});
    EXPECT_EQ(printed(), "Error: " + path + " is not executable\n");
}

INSTANTIATE_TEST_SUITE_P(, DataFromNoTask,
                         testing::Values(NamedText{{"Missing"}, "DIR/missing"},
                                         NamedText{{"NotExecutable"}, "DIR/plain"},
                                         NamedText{{"Package"}, "DIR/Some.app"},
                                         NamedText{{"Relative"}, "missing"},
                                         NamedText{{"Empty"}, ""}),
                         nameOfCase);

TEST_F(DataFromTask, LogsAndPrintsWhyAToolCannotBeLaunched) {
    const auto tool = writeTool("tool", "no program\n");
    const auto line = "Exception running task " + tool + ": " + tool +
                      " could not be launched: the file is not a program that this machine can run";
    EXPECT_FALSE(QFTaskEx::dataFromTask(tool, {}, slot_).has_value());
    EXPECT_EQ(loggedLines(), Lines{line});
    EXPECT_EQ(printed(), line + "\n");
}

TEST_F(DataFromTask, KeepsTheChildInTheSlotWhileItRuns) {
    auto result = std::async(std::launch::async, [&] { return collected(gate() + "; echo out"); });
    EXPECT_TRUE(eventually([&] { return slot_.get() != nullptr && slot_.get()->isRunning(); }));
    openGate();
    EXPECT_EQ(result.get(), "out\n");
}

TEST_F(DataFromTask, ClosesBothReadEndsThoughTheChildIsKept) {
    const auto readEnds = [] {
        int count = 0;
        for (const auto& item : std::filesystem::directory_iterator("/proc/self/fdinfo")) {
            const auto link = "/proc/self/fd/" + item.path().filename().string();
            std::error_code gone;
            const auto target = std::filesystem::read_symlink(link, gone).string();
            const auto flags = contentOf(item.path().string());
            const auto mode = flags.find("flags:\t") + 14; // octal; the last digit tells
            count += target.starts_with("pipe:") && flags.at(mode) == '0' ? 1 : 0;
        }
        return count;
    };
    const auto before = readEnds();
    EXPECT_EQ(collected("echo out; echo wrong >&2"), "out\n");
    ASSERT_NE(slot_.get(), nullptr);
    EXPECT_EQ(readEnds(), before);
}

TEST_F(DataFromTask, SaysThatMemoryRanOutAndEndsTheChild) {
    if (isSanitized()) {
        GTEST_SKIP() << "a sanitizer has taken the address space that this test would limit";
    }
    loggedLines(); // starts the log's thread
    std::optional<qf::Data> data;
    {
        const ScopedLimit<RLIMIT_AS> limit(addressSpaceInUse() + 128 * mebibyte);
        data = QFTaskEx::dataFromTask(
            shell, script("trap '' PIPE; while :; do cat /dev/zero; done"), slot_);
    }
    EXPECT_FALSE(data.has_value());
    const std::string line =
        "Exception running task /bin/sh: there is not enough memory for its output";
    EXPECT_EQ(loggedLines(), Lines{line});
    EXPECT_EQ(printed(), line + "\n");
    EXPECT_TRUE(eventually([this] { return !slot_.get()->isRunning(); }));
    EXPECT_EQ(slot_.get()->terminationStatus(), SIGTERM);
}

/// Returns how many of so many concurrent runs collect what they should.
int collectedAtOnce(int count) {
    std::vector<std::future<bool>> runs;
    for (int number = 0; number < count; ++number) {
        runs.push_back(std::async(std::launch::async, [] {
            qf::TaskSlot slot;
            const auto data = QFTaskEx::dataFromTask(shell, {"-c", "echo out"}, slot);
            return data && data->bytes.size() == std::string("out\n").size();
        }));
    }
    int collected = 0;
    for (auto& run : runs) {
        collected += run.get() ? 1 : 0;
    }
    return collected;
}

TEST_F(DataFromTask, RunsAThousandAtOnceWithFewDescriptors) {
    constexpr int count = 1000;
    // In a separate process, where nothing else needs descriptors.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            const ScopedLimit<RLIMIT_NOFILE> limit(128);
            std::_Exit(collectedAtOnce(count) == count ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(DataFromTask, LeavesNoDescriptorOpen) {
    const auto descriptors = [] {
        const std::filesystem::directory_iterator all("/proc/self/fd");
        return std::distance(begin(all), end(all));
    };
    collected("echo out; echo wrong >&2");
    slot_.set(nullptr);
    // The watch on the last child ends a moment after the child.
    EXPECT_TRUE(eventually([] { return zombies() == 0; }));
    const auto before = descriptors();
    for (int run = 0; run < 20; ++run) {
        collected("echo out; echo wrong >&2");
        QFTaskEx::dataFromTask("/no/such/tool", {}, slot_);
        QFTaskEx::dataFromTask(writeTool("tool", "no program\n"), {}, slot_);
    }
    slot_.set(nullptr);
    EXPECT_TRUE(eventually([&] { return descriptors() <= before; }));
}

} // namespace
