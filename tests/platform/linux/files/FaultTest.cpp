// Tests what is left of an item when any one of the system calls fails, or is the process's last.

#include "tests/platform/linux/RunChild.h"
#include "tests/platform/linux/files/Faults.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TreeDescription.h"

#include <gtest/gtest.h>

#include <sys/time.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <random>

namespace fs = std::filesystem;

namespace {

Outcome runFaulty(const std::vector<std::string>& arguments, const std::string& faults) {
    return runChild(arguments, withFaults(faults));
}

std::string any(int count, const std::string& what) {
    return "any:" + std::to_string(count) + ':' + what;
}

bool succeeded(const Outcome& outcome) {
    return outcome.output.starts_with("ok\n");
}

bool isSentence(const Outcome& outcome, const std::string& participle) {
    return outcome.output.find("” couldn’t be " + participle + " because ") != std::string::npos;
}

/// A sample tree, made afresh for every fault.
class Faults : public testing::TestWithParam<int> {
protected:
    void makeItem() {
        fs::remove_all(item);
        fs::remove_all(place);
        makeSampleTree(item);
        whole = description(item);
    }

    /// Runs `arguments` repeatedly, with the first call failing, then the second and so on, until
    /// each of the calls has failed once, and calls `check` for each outcome.
    template <typename Check>
    void failEveryCall(const std::vector<std::string>& arguments, const std::string& firstFault,
                       Check check) {
        const int expected = firstFault.empty() ? 0 : 1;
        for (int count = 1 + expected;; ++count) {
            makeItem();
            const auto outcome = runFaulty(arguments, (firstFault.empty() ? "" : firstFault + ',') +
                                                          any(count, std::to_string(GetParam())));
            check(outcome);
            if (HasFailure()) {
                FAIL() << "call " << count << ": " << outcome.output;
            }
            const bool hasFailed =
                outcome.output.find("faults: " + std::to_string(expected + 1)) != std::string::npos;
            if (!hasFailed && count > callsBefore) {
                EXPECT_TRUE(succeeded(outcome)) << outcome.output;
                EXPECT_GT(count, 4) << "there is hardly any call that could fail";
                return;
            }
        }
    }

    /// The most calls that look at the directories on both sides; if one of them fails, the work
    /// ends before `firstFault`.
    static constexpr int callsBefore = 6;

    /// An item reported as gone need not be removed.
    static bool isHarmless() { return GetParam() == ENOENT; }

    MemoryDirectory directory;
    std::string item = directory / "item";
    std::string place = directory / "place";
    std::vector<std::string> whole;
};

} // namespace

TEST_P(Faults, LeaveAnItemThatIsMovedWholeOnOneSide) {
    failEveryCall({"move", item, place}, otherVolume, [this](const Outcome& outcome) {
        const auto copy = description(place);
        if (succeeded(outcome)) {
            EXPECT_EQ(copy.size(), whole.size());
            EXPECT_TRUE(description(item).empty() || isHarmless());
        } else {
            EXPECT_TRUE(isSentence(outcome, "moved")) << outcome.output;
            EXPECT_TRUE(description(item) == whole || copy == whole);
        }
    });
}

TEST_P(Faults, LeaveNothingOfACopyThatFails) {
    failEveryCall({"copy", item, place}, "", [this](const Outcome& outcome) {
        EXPECT_EQ(description(item), whole);
        if (succeeded(outcome)) {
            EXPECT_EQ(description(place).size(), whole.size());
        } else {
            EXPECT_TRUE(isSentence(outcome, "copied")) << outcome.output;
            EXPECT_EQ(strangers(directory.path(), {"item"}), std::vector<std::string>{});
        }
    });
}

TEST_P(Faults, StopARemovalAtMostThere) {
    makeSampleTree(directory / "neighbour");
    const auto neighbour = description(directory / "neighbour");
    failEveryCall({"remove", item}, "", [&](const Outcome& outcome) {
        EXPECT_TRUE(succeeded(outcome) == description(item).empty() || isHarmless());
        EXPECT_TRUE(succeeded(outcome) || isSentence(outcome, "removed")) << outcome.output;
        EXPECT_EQ(description(directory / "neighbour"), neighbour);
    });
}

TEST_P(Faults, LeaveAnItemThatIsTrashedWholeOnOneSide) {
    const auto trash = directory / "trash";
    const auto trashed = trash + "/item";
    fs::create_directory(trash);
    failEveryCall({"recycle", directory.path(), trash, "item"}, otherVolume,
                  [&](const Outcome& outcome) {
                      const auto copy = description(trashed);
                      if (succeeded(outcome)) {
                          EXPECT_EQ(copy.size(), whole.size());
                          EXPECT_TRUE(description(item).empty() || isHarmless());
                      } else {
                          EXPECT_TRUE(isSentence(outcome, "moved to the Trash")) << outcome.output;
                          EXPECT_TRUE(description(item) == whole || copy == whole);
                      }
                      fs::remove_all(trashed);
                  });
}

TEST_P(Faults, LeaveAFileThatIsWrittenWithItsOldOrNewContent) {
    const auto file = directory / "file";
    std::ofstream(file) << "old";
    failEveryCall({"write", file, "new"}, "", [&](const Outcome& outcome) {
        const auto content = contentOf(file);
        EXPECT_TRUE(succeeded(outcome) ? content == "new" : content == "old" || content == "new");
        EXPECT_TRUE(succeeded(outcome) || isSentence(outcome, "saved")) << outcome.output;
        EXPECT_EQ(strangers(directory.path(), {"file", "item"}), std::vector<std::string>{});
        std::ofstream(file) << "old";
    });
}

INSTANTIATE_TEST_SUITE_P(Everywhere, Faults, testing::Values(ENOSPC, EIO, EINTR, ENOENT, EXDEV),
                         [](const auto& fault) { return strerrorname_np(fault.param); });

TEST(Copy, LeavesNothingOfALinkThatCannotBeReadBack) {
    const MemoryDirectory directory;
    fs::create_symlink("somewhere", directory / "link");

    const auto outcome = runFaulty({"copy", directory / "link", directory / "copy"},
                                   "readlinkat:2:" + std::to_string(EIO));

    EXPECT_TRUE(isSentence(outcome, "copied")) << outcome.output;
    EXPECT_EQ(strangers(directory.path(), {"link"}), std::vector<std::string>{});
}

TEST(Removal, IsNotStoppedByADirectoryThatWasALinkForAMoment) {
    const MemoryDirectory directory;
    const auto item = directory / "item";
    makeSampleTree(item);

    const auto outcome = runFaulty({"remove", item}, "openat:2:" + std::to_string(ELOOP));

    EXPECT_EQ(outcome.output, "ok\nfaults: 1\n");
    EXPECT_FALSE(fs::exists(item));
}

TEST(Trash, TriesNoOtherNameForAnItemOfWhichAPartHasNoPlaceThere) {
    const MemoryDirectory directory;
    const auto trash = directory / "trash";
    fs::create_directory(trash);
    fs::create_directories(directory / "item/inner");

    const auto outcome = runFaulty({"recycle", directory.path(), trash, "item"},
                                   otherVolume + ",mkdirat:2:" + std::to_string(EEXIST));

    EXPECT_TRUE(isSentence(outcome, "moved to the Trash")) << outcome.output;
    EXPECT_TRUE(fs::exists(directory / "item/inner"));
    EXPECT_TRUE(fs::is_empty(trash));
}

TEST(Kill, LeavesNothingOfAFileThatTheNextWriteDoesNotTidyUp) {
    const MemoryDirectory directory;
    const auto file = directory / "file";
    int moment = 1;
    for (; runFaulty({"write", file, "new"}, any(moment, "kill")).status == -1; ++moment) {
        EXPECT_TRUE(succeeded(runFaulty({"write", file, "newer"}, "")));

        EXPECT_EQ(contentOf(file), "newer");
        EXPECT_EQ(strangers(directory.path(), {"file"}), std::vector<std::string>{})
            << "call " << moment;
    }
    EXPECT_GT(moment, 4) << "there is hardly any call that could be the last";
}

TEST(Kill, LeavesALinkThatIsMovedWholeOnOneSideAtEveryMomentAndTheNextMoveFinishes) {
    const MemoryDirectory directory;
    const auto item = directory / "link";
    const auto place = directory / "place";
    int moment = 1;
    for (Outcome outcome{.status = -1}; outcome.status == -1;) {
        ++moment;
        fs::remove(place);
        fs::remove(item);
        fs::create_symlink("missing", item);
        const std::array<timeval, 2> longAgo{};
        ASSERT_EQ(::lutimes(item.c_str(), longAgo.data()), 0);
        const auto whole = description(item);

        outcome = runFaulty({"move", item, place}, otherVolume + ',' + any(moment, "kill"));

        const auto there = description(place);
        EXPECT_TRUE(there == whole || (there.empty() && description(item) == whole))
            << "call " << moment << ": " << outcome.output;
        static_cast<void>(runFaulty({"move", item, place}, otherVolume));
        EXPECT_EQ(description(place), whole) << "call " << moment;
        EXPECT_EQ(strangers(directory.path(), {"place"}), std::vector<std::string>{})
            << "call " << moment;
    }
    EXPECT_GT(moment, 10) << "there is hardly any call that could be the last";
}

TEST(Kill, LeavesAnItemThatIsMovedWholeOnOneSideAtEveryMomentAndTheNextMoveFinishes) {
    constexpr int rounds = 200;
    const MemoryDirectory directory;
    const auto item = directory / "item";
    const auto place = directory / "place";
    makeSampleTree(item);
    int calls = 2;
    while (runFaulty({"move", item, place}, otherVolume + ',' + any(calls, "kill")).status == -1) {
        fs::remove_all(item);
        fs::remove_all(place);
        makeSampleTree(item);
        calls += 50;
    }
    std::mt19937 random(20261121); // NOLINT: the same moments in every run.
    std::uniform_int_distribution<int> moments(2, calls - 1);
    for (int round = 0; round < rounds; ++round) {
        const int moment = moments(random);
        fs::remove_all(item);
        fs::remove_all(place);
        makeSampleTree(item);
        const auto whole = description(item);

        const auto outcome =
            runFaulty({"move", item, place}, otherVolume + ',' + any(moment, "kill"));

        const bool isWhole = description(item) == whole || description(place) == whole;
        EXPECT_TRUE(isWhole) << "call " << moment << ": " << outcome.output;
        static_cast<void>(runFaulty({"move", item, place}, otherVolume));
        EXPECT_TRUE(description(place) == whole) << "call " << moment;
        EXPECT_FALSE(fs::exists(item)) << "call " << moment;
        EXPECT_EQ(strangers(directory.path(), {"place"}), std::vector<std::string>{})
            << "call " << moment;
    }
}
