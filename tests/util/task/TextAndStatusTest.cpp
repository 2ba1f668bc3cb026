#include "tests/support/AddressSpace.h"
#include "tests/support/CasePath.h"
#include "tests/support/NamedCase.h"
#include "tests/support/ScopedLimit.h"
#include "tests/util/task/TaskTest.h"
#include "util/task/QFTaskEx.h"

#include "platform/foundation/Exception.h"

#include <malloc.h>

#include <csignal>
#include <cstdlib>
#include <future>

namespace {

using Lines = std::vector<std::string>;
using qf::TextEncoding;
using qf::Timeout;

class StringFromTask : public TaskTest {
protected:
    qf::TaskSlot slot_;
    const qf::TaskArguments greeting_ = script("printf hello");
    const qf::TaskArguments accented_ = script("printf 'caf\\303\\251'");
    const qf::TaskArguments wrong_ = script("printf wrong >&2");
    const Timeout enough_{600};
};

class TerminationCodeFromTask : public TaskTest {};

TEST_F(StringFromTask, EveryMemberReturnsTheOutputAsText) {
    EXPECT_EQ(QFTaskEx::stringFromTask(shell, greeting_), "hello");
    EXPECT_EQ(QFTaskEx::stringFromTask(shell, greeting_, slot_), "hello");
    EXPECT_EQ(QFTaskEx::stringFromTask(shell, greeting_, TextEncoding::utf8, slot_), "hello");
    EXPECT_EQ(QFTaskEx::stringFromTask(shell, greeting_, enough_), "hello");
    EXPECT_EQ(QFTaskEx::stringFromTask(shell, greeting_, TextEncoding::utf8, enough_), "hello");
    EXPECT_EQ(QFTaskEx::stringFromTask(shell, greeting_, TextEncoding::utf8, enough_,
                                       qf::LogOutput::yes, qf::LogError::no),
              "hello");
}

TEST_F(StringFromTask, MembersWithoutFlagsCollectTheErrorsToo) {
    EXPECT_EQ(QFTaskEx::stringFromTask(shell, wrong_), "wrong");
    EXPECT_EQ(QFTaskEx::stringFromTask(shell, wrong_, slot_), "wrong");
    EXPECT_EQ(QFTaskEx::stringFromTask(shell, wrong_, enough_), "wrong");
    EXPECT_EQ(QFTaskEx::stringFromTask(shell, wrong_, TextEncoding::ascii, enough_,
                                       qf::LogOutput::yes, qf::LogError::no),
              "");
}

TEST_F(StringFromTask, MembersWithoutAnEncodingGiveNothingForBytesBeyondAscii) {
    EXPECT_EQ(QFTaskEx::stringFromTask(shell, accented_), std::nullopt);
    EXPECT_EQ(QFTaskEx::stringFromTask(shell, accented_, slot_), std::nullopt);
    EXPECT_EQ(QFTaskEx::stringFromTask(shell, accented_, enough_), std::nullopt);
    EXPECT_TRUE(loggedLines().empty());
}

TEST_F(StringFromTask, DecodesInTheEncodingThatIsGiven) {
    EXPECT_EQ(QFTaskEx::stringFromTask(shell, accented_, TextEncoding::utf8, slot_), "café");
    EXPECT_EQ(QFTaskEx::stringFromTask(shell, accented_, TextEncoding::utf8, enough_), "café");
    EXPECT_EQ(QFTaskEx::stringFromTask(shell, accented_, TextEncoding::isoLatin1, slot_), "cafÃ©");
}

TEST_F(StringFromTask, ReturnsTheEmptyStringForASilentChild) {
    EXPECT_EQ(QFTaskEx::stringFromTask(shell, script(":")), "");
}

TEST_F(StringFromTask, ReturnsTheEmptyStringWhenThereIsNoData) {
    const auto missing = file("missing");
    EXPECT_EQ(QFTaskEx::stringFromTask(missing, {}), "");
    EXPECT_EQ(QFTaskEx::stringFromTask(missing, {}, slot_), "");
    EXPECT_EQ(QFTaskEx::stringFromTask(missing, {}, enough_), "");
    EXPECT_EQ(loggedLines(), Lines(3, "Error: " + missing + " is not executable"));
}

TEST_F(StringFromTask, ReturnsNothingWithoutMemoryForTheText) {
    if (isSanitized()) {
        GTEST_SKIP() << "a sanitizer has taken the address space that this test would limit";
    }
    // In a separate process, where no earlier test has left free memory.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            ::mallopt(M_ARENA_MAX, 1); // a heap for a new thread would take most of the limit
            QFTaskEx::stringFromTask(shell, greeting_); // starts all threads that a run needs
            const ScopedLimit<RLIMIT_AS> limit(addressSpaceInUse() + 96 * mebibyte);
            const auto text = QFTaskEx::stringFromTask(shell, script("head -c 60M /dev/zero"));
            std::_Exit(text.has_value() || !loggedLines().empty() ? 1 : 0);
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(TerminationCodeFromTask, ReturnsTheExitStatus) {
    EXPECT_EQ(QFTaskEx::terminationCodeFromTask(shell, script("exit 0")), 0);
    EXPECT_EQ(QFTaskEx::terminationCodeFromTask(shell, script("exit 200")), 200);
    EXPECT_EQ(QFTaskEx::terminationCodeFromTask(shell, script("exit 7"), Timeout(600)), 7);
}

TEST_F(TerminationCodeFromTask, ReturnsTheSignalThatEndedTheChild) {
    EXPECT_EQ(QFTaskEx::terminationCodeFromTask(shell, script("kill -KILL $$")), SIGKILL);
}

TEST_F(TerminationCodeFromTask, DiscardsOutputAndErrors) {
    EXPECT_EQ(QFTaskEx::terminationCodeFromTask(
                  shell, script("[ $(readlink /proc/$$/fd/1) = /dev/null ] && "
                                "[ $(readlink /proc/$$/fd/2) = /dev/null ]")),
              0);
}

class TerminationCodeFromNoTask : public TerminationCodeFromTask,
                                  public testing::WithParamInterface<NamedText> {};

TEST_P(TerminationCodeFromNoTask, IsMinusOne) {
    directory_.makeDirectory("Some.app");
    const auto path = casePath(directory_, GetParam().value);
    EXPECT_EQ(QFTaskEx::terminationCodeFromTask(path, {}), -1);
    EXPECT_EQ(loggedLines(), Lines{"Error: " + path + " is not executable"});
    EXPECT_EQ(printed(), "Error: " + path + " is not executable\n");
}

INSTANTIATE_TEST_SUITE_P(, TerminationCodeFromNoTask,
                         testing::Values(NamedText{{"Missing"}, "DIR/missing"},
                                         NamedText{{"Package"}, "DIR/Some.app"},
                                         NamedText{{"Relative"}, "missing"}),
                         nameOfCase);

TEST_F(TerminationCodeFromTask, LetsTheLaunchExceptionThrough) {
    const auto tool = writeTool("tool", "#!/no/interpreter\n");
    EXPECT_THROW(QFTaskEx::terminationCodeFromTask(tool, {}), qf::Exception);
    const auto runner = QFTaskEx::create();
    EXPECT_THROW(runner->terminationCodeFromTaskOnRunner(tool, {}, Timeout(600)), qf::Exception);
    EXPECT_EQ(runner->theTask(), nullptr);
    EXPECT_TRUE(loggedLines().empty());
}

TEST_F(TerminationCodeFromTask, KeepsTheChildInTheSlotWhileItRuns) {
    qf::TaskSlot slot;
    auto status = std::async(std::launch::async, [&] {
        return QFTaskEx::terminationCodeFromTask(shell, script(gate() + "; exit 9"), slot);
    });
    EXPECT_TRUE(eventually([&] { return slot.get() != nullptr && slot.get()->isRunning(); }));
    openGate();
    EXPECT_EQ(status.get(), 9);
}

} // namespace
