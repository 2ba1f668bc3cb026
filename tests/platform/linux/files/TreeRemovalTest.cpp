#include "tests/platform/linux/RunChild.h"
#include "tests/platform/linux/files/FileSystemOnDisk.h"
#include "tests/support/ScopedLimit.h"
#include "tests/support/TemporaryFolder.h"
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
    const TemporaryFolder folder;
    folder.write("neighbour");

    EXPECT_TRUE(fileSystem.removeItem(folder.write("file")));

    EXPECT_FALSE(stands(folder / "file"));
    EXPECT_TRUE(stands(folder / "neighbour"));
}

TEST(RemoveItem, DeletesAFolderWithAllThatIsInIt) {
    const TemporaryFolder folder;
    for (int i = 0; i < 40; ++i) {
        for (int j = 0; j < 10; ++j) {
            folder.write("top/" + std::to_string(i) + "/.deep/" + std::to_string(j));
        }
    }
    folder.write("top/no\xFFtext");
    ASSERT_EQ(::mkfifo((folder / "top/fifo").c_str(), 0600), 0);

    EXPECT_TRUE(fileSystem.removeItem((folder / "top") + "/"));

    EXPECT_FALSE(stands(folder / "top"));
}

TEST(RemoveItem, DeletesLinksAndNeverWhatTheyLeadTo) {
    const TemporaryFolder folder;
    folder.write("outside/precious", "kept");
    folder.makeFolder("top");
    ASSERT_EQ(::symlink((folder / "outside").c_str(), (folder / "top/link").c_str()), 0);
    ASSERT_EQ(::symlink((folder / "outside").c_str(), (folder / "link").c_str()), 0);
    ASSERT_EQ(::symlink("missing", (folder / "broken").c_str()), 0);

    EXPECT_TRUE(fileSystem.removeItem(folder / "top"));
    EXPECT_TRUE(fileSystem.removeItem(folder / "link"));
    EXPECT_TRUE(fileSystem.removeItem(folder / "broken"));

    EXPECT_EQ(contentOf(folder / "outside/precious"), "kept");
    EXPECT_FALSE(stands(folder / "top"));
    EXPECT_FALSE(stands(folder / "link"));
    EXPECT_FALSE(stands(folder / "broken"));
}

TEST(RemoveItem, FailsWhereNothingStands) {
    const TemporaryFolder folder;

    const auto removed = fileSystem.removeItem(folder / "missing.txt");

    ASSERT_FALSE(removed);
    EXPECT_EQ(removed.error().code, ENOENT);
    EXPECT_EQ(removed.error().localizedDescription,
              "“missing.txt” couldn’t be removed because it doesn’t exist.");
}

TEST(RemoveItem, RefusesWhatIsNoEntryOfAFolder) {
    const TemporaryFolder folder;
    folder.write("precious");

    for (const auto& path : {folder / ".", folder / "precious/..", std::string()}) {
        EXPECT_FALSE(fileSystem.removeItem(path)) << path;
    }
    EXPECT_TRUE(stands(folder / "precious"));
}

TEST(RemoveItem, RefusesTheRootFolder) {
    if (const auto reason = whyNotWithoutWriting(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    EXPECT_EQ(runChild({"without-writing", "remove", "/"}).output,
              "22 “/” couldn’t be removed because the system doesn’t allow it.\n");
}

TEST(RemoveItem, NeedsFewDescriptorsForADeepTree) {
    const TemporaryFolder folder;
    makeDeepTree(folder / "top", 2000);
    {
        const ScopedLimit<RLIMIT_NOFILE> limit(100);
        EXPECT_TRUE(fileSystem.removeItem(folder / "top"));
    }
    EXPECT_FALSE(stands(folder / "top"));
}

TEST(RemoveItem, GoesBackThroughSeveralBranchesOfADeepTree) {
    const TemporaryFolder folder;
    folder.makeFolder("top");
    for (int branch = 0; branch < 5; ++branch) {
        makeDeepTree(folder / ("top/" + std::to_string(branch)), 100);
    }

    EXPECT_TRUE(fileSystem.removeItem(folder / "top"));

    EXPECT_FALSE(stands(folder / "top"));
}

TEST(RemoveItem, DeletesAFolderThatMayNotBeReadWhenItIsEmpty) {
    const TemporaryFolder folder;
    const auto top = folder.makeFolder("top");
    const auto closed = folder.makeFolder("top/closed");
    ASSERT_EQ(::chmod(folder.path().c_str(), 0777), 0);
    ASSERT_EQ(::chmod(top.c_str(), 0777), 0);
    ASSERT_EQ(::chmod(closed.c_str(), 0), 0);

    EXPECT_EQ(runChild({"remove", top}, {}, asOrdinaryUser()).output, "ok\n");

    EXPECT_FALSE(stands(top));
}

TEST(RemoveItem, NamesTheEntryThatCouldNotBeDeleted) {
    const TemporaryFolder folder;
    const auto top = folder.makeFolder("top");
    folder.write("top/closed/file");
    ASSERT_EQ(::chmod(folder.path().c_str(), 0777), 0);
    ASSERT_EQ(::chmod(top.c_str(), 0777), 0);
    ASSERT_EQ(::chmod((folder / "top/closed").c_str(), 0555), 0);

    EXPECT_EQ(runChild({"remove", top}, {}, asOrdinaryUser()).output,
              "13 “file” couldn’t be removed because you don’t have permission.\n");

    EXPECT_TRUE(stands(folder / "top/closed/file"));
    ASSERT_EQ(::chmod((folder / "top/closed").c_str(), 0755), 0);
}

TEST(RemoveItem, DoesNotEnterAVolumeMountedInside) {
    if (const auto reason = whyNoMounts(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    const TemporaryFolder folder;
    const auto file = folder.write("top/volume/precious", "kept");

    EXPECT_EQ(runChild({"remove", folder / "top"}, {}, withBindMount(folder / "top/volume")).output,
              "16 “volume” couldn’t be removed because it is in use.\n");

    EXPECT_EQ(contentOf(file), "kept");
}

TEST(RemoveItem, IsNotLedOutsideByFoldersThatTurnIntoLinks) {
    constexpr int rounds = 1000;
    const MemoryFolder folder;
    fs::create_directories(folder / "victim/deep");
    for (int i = 0; i < 20; ++i) {
        std::ofstream(folder / ("victim/" + std::to_string(i))) << "kept";
        std::ofstream(folder / ("victim/deep/" + std::to_string(i))) << "kept";
    }
    std::atomic<int> round = -1;
    std::atomic<int> swaps = 0;
    std::thread swapper([&] {
        for (int current = round; current < rounds; current = round) {
            const auto top = folder / std::to_string(current);
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
        fs::create_directories(folder / (top + "/swapped/deep"));
        std::ofstream(folder / (top + "/swapped/deep/file"));
        std::ofstream(folder / (top + "/swapped/file"));
        ASSERT_EQ(::symlink((folder / "victim").c_str(), (folder / (top + ".link")).c_str()), 0);
        const int before = swaps;
        round = i;
        round.notify_one();
        swaps.wait(before);
        static_cast<void>(fileSystem.removeItem(folder / top));
    }
    round = rounds;
    round.notify_one();
    swapper.join();

    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(contentOf(folder / ("victim/" + std::to_string(i))), "kept");
        EXPECT_EQ(contentOf(folder / ("victim/deep/" + std::to_string(i))), "kept");
    }
}
