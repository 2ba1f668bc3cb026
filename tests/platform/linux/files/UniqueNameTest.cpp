#include "platform/linux/files/UniqueName.h"

#include "platform/linux/posix/FileDescriptor.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <fcntl.h>

#include <cerrno>

using qf::native::FileDescriptor;
using qf::native::freeNumber;
using qf::native::moveToUniqueName;
using qf::native::numberedName;

TEST(NumberedName, IsBeforeTheExtension) {
    EXPECT_EQ(numberedName("clip.mov", 2), "clip 2.mov");
    EXPECT_EQ(numberedName("Notes", 3), "Notes 3");
    EXPECT_EQ(numberedName(".hidden", 2), ".hidden 2");
}

TEST(NumberedName, IsNeverLongerThanANameMayBe) {
    EXPECT_EQ(numberedName(std::string(251, 'x') + ".txt", 10), std::string(248, 'x') + " 10.txt");
    EXPECT_EQ(numberedName(std::string(255, 'x'), 2), std::string(253, 'x') + " 2");
    EXPECT_EQ(numberedName("a." + std::string(253, 'x'), 2), "a." + std::string(251, 'x') + " 2");
}

TEST(NumberedName, IsCutBetweenCharacters) {
    EXPECT_EQ(numberedName(std::string(252, 'x') + "€", 2), std::string(252, 'x') + " 2");
}

namespace {

class FreeNumber : public testing::TestWithParam<int> {};

} // namespace

TEST_P(FreeNumber, IsFoundWithFewQuestions) {
    const int taken = GetParam();
    int questions = 0;
    const int found = freeNumber(1, [&](int number) {
        ++questions;
        return number <= taken;
    });
    EXPECT_EQ(found, taken + 1);
    EXPECT_LE(questions, 30);
}

INSTANTIATE_TEST_SUITE_P(AfterTaken, FreeNumber, testing::Values(0, 1, 2, 3, 100, 10000),
                         testing::PrintToStringParamName());

TEST(FreeNumberAmongGaps, IsFree) {
    const auto isTaken = [](int number) { return number % 3 != 0 && number < 50; };
    EXPECT_FALSE(isTaken(freeNumber(1, isTaken)));
    EXPECT_GE(freeNumber(7, isTaken), 7);
}

TEST(MoveToUniqueName, ReplacesNothing) {
    const TemporaryDirectory directory;
    directory.write("from/a.txt", "third");
    directory.write("to/a.txt", "first");
    directory.write("to/a 2.txt", "second");
    const FileDescriptor source(::open((directory / "from").c_str(), O_PATH));
    const FileDescriptor destination(::open((directory / "to").c_str(), O_PATH));

    const auto name = moveToUniqueName({source.get(), "a.txt"}, destination.get());

    EXPECT_EQ(name.value(), "a 3.txt");

    EXPECT_EQ(contentOf(directory / "to/a.txt"), "first");
    EXPECT_EQ(contentOf(directory / "to/a 2.txt"), "second");
    EXPECT_EQ(contentOf(directory / "to/a 3.txt"), "third");
    EXPECT_TRUE(failedWith(moveToUniqueName({source.get(), "a.txt"}, destination.get()), ENOENT));
}

TEST(MoveToUniqueName, TriesFewOfManyNames) {
    const TemporaryDirectory directory;
    directory.write("from/a.txt", "another");
    for (const auto* name : {"a.txt", "a 2.txt", "a 3.txt", "a 5.txt", "a 9.txt"}) {
        directory.write(std::string("to/") + name, "taken");
    }
    const FileDescriptor source(::open((directory / "from").c_str(), O_PATH));
    const FileDescriptor destination(::open((directory / "to").c_str(), O_PATH));

    const auto name = moveToUniqueName({source.get(), "a.txt"}, destination.get());

    EXPECT_EQ(name.value(), "a 10.txt") << "after 9, without a look at 4";
}
