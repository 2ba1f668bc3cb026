#include "tests/platform/linux/RunChild.h"
#include "tests/platform/linux/files/FileSystemOnDisk.h"
#include "tests/support/CasePath.h"
#include "tests/support/NamedCase.h"
#include "tests/support/ScopedLimit.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TreeDescription.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <thread>

namespace fs = std::filesystem;

TEST(RemoveItem, DeletesAFileAndLeavesItsNeighbour) {
    const TemporaryDirectory directory;
    directory.write("neighbour");

    EXPECT_TRUE(fileSystem.removeItem(directory.write("file")));

    EXPECT_FALSE(exists(directory / "file"));
    EXPECT_TRUE(exists(directory / "neighbour"));
}

TEST(RemoveItem, DeletesADirectoryWithAllThatIsInIt) {
    const TemporaryDirectory directory;
    for (int i = 0; i < 40; ++i) {
        for (int j = 0; j < 10; ++j) {
            directory.write("top/" + std::to_string(i) + "/.deep/" + std::to_string(j));
        }
    }
    directory.write("top/no\xFFtext");
    ASSERT_EQ(::mkfifo((directory / "top/fifo").c_str(), 0600), 0);

    EXPECT_TRUE(fileSystem.removeItem((directory / "top") + "/"));

    EXPECT_FALSE(exists(directory / "top"));
}

TEST(RemoveItem, DeletesLinksAndNeverWhatTheyLeadTo) {
    const TemporaryDirectory directory;
    directory.write("outside/precious", "kept");
    directory.makeDirectory("top");
    ASSERT_EQ(::symlink((directory / "outside").c_str(), (directory / "top/link").c_str()), 0);
    ASSERT_EQ(::symlink((directory / "outside").c_str(), (directory / "link").c_str()), 0);
    ASSERT_EQ(::symlink("missing", (directory / "broken").c_str()), 0);

    EXPECT_TRUE(fileSystem.removeItem(directory / "top"));
    EXPECT_TRUE(fileSystem.removeItem(directory / "link"));
    EXPECT_TRUE(fileSystem.removeItem(directory / "broken"));

    EXPECT_EQ(contentOf(directory / "outside/precious"), "kept");
    EXPECT_FALSE(exists(directory / "top"));
    EXPECT_FALSE(exists(directory / "link"));
    EXPECT_FALSE(exists(directory / "broken"));
}

TEST(RemoveItem, FailsWhereNothingExists) {
    const TemporaryDirectory directory;

    const auto removed = fileSystem.removeItem(directory / "missing.txt");

    ASSERT_FALSE(removed);
    EXPECT_EQ(removed.error().code, ENOENT);
    EXPECT_EQ(removed.error().localizedDescription,
              "“missing.txt” couldn’t be removed because it doesn’t exist.");
}

class RemovalOfNoEntry : public testing::TestWithParam<NamedText> {};

TEST_P(RemovalOfNoEntry, IsRefused) {
    const TemporaryDirectory directory;
    directory.write("precious");

    EXPECT_FALSE(fileSystem.removeItem(casePath(directory, GetParam().value)));
    EXPECT_TRUE(exists(directory / "precious"));
}

INSTANTIATE_TEST_SUITE_P(, RemovalOfNoEntry,
                         testing::Values(NamedText{{"Directory"}, "DIR/."},
                                         NamedText{{"DirectoryAround"}, "DIR/precious/.."},
                                         NamedText{{"Empty"}, ""}),
                         nameOfCase);

TEST(RemoveItem, RefusesTheRootDirectory) {
    if (const auto reason = whyNotWithoutWriting(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    EXPECT_EQ(runChild({"without-writing", "remove", "/"}).output,
              "22 “/” couldn’t be removed because the system doesn’t allow it.\n");
}

TEST(RemoveItem, NeedsFewDescriptorsForADeepTree) {
    const TemporaryDirectory directory;
    makeDeepTree(directory / "top", 2000);
    {
        const ScopedLimit<RLIMIT_NOFILE> limit(100);
        EXPECT_TRUE(fileSystem.removeItem(directory / "top"));
    }
    EXPECT_FALSE(exists(directory / "top"));
}

TEST(RemoveItem, GoesBackThroughSeveralBranchesOfADeepTree) {
    const TemporaryDirectory directory;
    directory.makeDirectory("top");
    for (int branch = 0; branch < 5; ++branch) {
        makeDeepTree(directory / ("top/" + std::to_string(branch)), 100);
    }

    EXPECT_TRUE(fileSystem.removeItem(directory / "top"));

    EXPECT_FALSE(exists(directory / "top"));
}

TEST(RemoveItem, DeletesADirectoryThatMayNotBeReadWhenItIsEmpty) {
    const TemporaryDirectory directory;
    const auto top = directory.makeDirectory("top");
    const auto closed = directory.makeDirectory("top/closed");
    ASSERT_EQ(::chmod(directory.path().c_str(), 0777), 0);
    ASSERT_EQ(::chmod(top.c_str(), 0777), 0);
    ASSERT_EQ(::chmod(closed.c_str(), 0), 0);

    EXPECT_EQ(runChild({"remove", top}, {}, asOrdinaryUser()).output, "ok\n");

    EXPECT_FALSE(exists(top));
}

TEST(RemoveItem, NamesTheEntryThatCouldNotBeDeleted) {
    const TemporaryDirectory directory;
    const auto top = directory.makeDirectory("top");
    directory.write("top/closed/file");
    ASSERT_EQ(::chmod(directory.path().c_str(), 0777), 0);
    ASSERT_EQ(::chmod(top.c_str(), 0777), 0);
    ASSERT_EQ(::chmod((directory / "top/closed").c_str(), 0555), 0);

    EXPECT_EQ(runChild({"remove", top}, {}, asOrdinaryUser()).output,
              "13 “file” couldn’t be removed because you don’t have permission.\n");

    EXPECT_TRUE(exists(directory / "top/closed/file"));
    ASSERT_EQ(::chmod((directory / "top/closed").c_str(), 0755), 0);
}

TEST(RemoveItem, DoesNotEnterAVolumeMountedInside) {
    if (const auto reason = whyNoMounts(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    const TemporaryDirectory directory;
    const auto file = directory.write("top/volume/precious", "kept");

    EXPECT_EQ(
        runChild({"remove", directory / "top"}, {}, withBindMount(directory / "top/volume")).output,
        "16 “volume” couldn’t be removed because it is in use.\n");

    EXPECT_EQ(contentOf(file), "kept");
}

TEST(RemoveItem, IsNotLedOutsideByDirectoriesThatTurnIntoLinks) {
    constexpr int rounds = 1000;
    const MemoryDirectory directory;
    fs::create_directories(directory / "victim/deep");
    for (int i = 0; i < 20; ++i) {
        std::ofstream(directory / ("victim/" + std::to_string(i))) << "kept";
        std::ofstream(directory / ("victim/deep/" + std::to_string(i))) << "kept";
    }
    std::atomic<int> round = -1;
    std::atomic<int> swaps = 0;
    std::thread swapper([&] {
        for (int current = round; current < rounds; current = round) {
            const auto top = directory / std::to_string(current);
            if (::renameat2(AT_FDCWD, (top + ".link").c_str(), AT_FDCWD, (top + "/swapped").c_str(),
                            RENAME_EXCHANGE) == 0) {
                ++swaps;
                swaps.notify_one();
            } else { // It has been deleted: there is nothing more to swap in this round.
                round.wait(current);
            }
        }
    });
    for (int i = 0; i < rounds; ++i) {
        const auto top = std::to_string(i);
        fs::create_directories(directory / (top + "/swapped/deep"));
        std::ofstream(directory / (top + "/swapped/deep/file"));
        std::ofstream(directory / (top + "/swapped/file"));
        ASSERT_EQ(::symlink((directory / "victim").c_str(), (directory / (top + ".link")).c_str()),
                  0);
        const int before = swaps;
        round = i;
        round.notify_one();
        swaps.wait(before);
        static_cast<void>(fileSystem.removeItem(directory / top));
    }
    round = rounds;
    round.notify_one();
    swapper.join();

    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(contentOf(directory / ("victim/" + std::to_string(i))), "kept");
        EXPECT_EQ(contentOf(directory / ("victim/deep/" + std::to_string(i))), "kept");
    }
}
